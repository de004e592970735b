#pragma once

#include <QMetaType>
#include <QString>

#include <optional>
#include <string_view>

// A base-10 number: up to 38 significant digits times ten to the power -128..127.
// JSON numbers are read into it so that no digit is lost to binary floating point.
class TSKDecimal
{
public:
    static constexpr int MaxDigits = 38;
    static constexpr int MinExponent = -128;
    static constexpr int MaxExponent = 127;

    TSKDecimal() = default;
    explicit TSKDecimal(qint64 value);

    // "-12.5e3" style text; nothing else may follow. Empty when it cannot be held.
    static std::optional<TSKDecimal> fromString(std::string_view text);
    static std::optional<TSKDecimal> fromString(const QString &text);

    // Plain notation without redundant zeros: 1.10 -> "1.1", 1e2 -> "100", -0.5e-3 -> "-0.0005".
    QString toString() const;
    // Same text as toString(), appended to `out` without building a QString.
    void appendTo(QString &out) const;
    double toDouble() const;

    bool isNegative() const { return negative_; }
    bool isZero() const { return low_ == 0 && high_ == 0; }
    int exponent() const { return exponent_; }

    bool operator==(const TSKDecimal &other) const = default;

private:
    using Mantissa = unsigned __int128;
    TSKDecimal(bool negative, Mantissa mantissa, int exponent);
    Mantissa mantissa() const { return (Mantissa(high_) << 64) | low_; }
    int digitsInto(char *buffer) const;

    // Two words rather than one 128-bit field keep the value small enough to sit inside a QVariant.
    quint64 low_ = 0;
    quint64 high_ = 0;
    qint16 exponent_ = 0;
    bool negative_ = false;
};

Q_DECLARE_TYPEINFO(TSKDecimal, Q_RELOCATABLE_TYPE);
Q_DECLARE_METATYPE(TSKDecimal)
