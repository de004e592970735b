#include "json/TSKDecimal.h"

#include <cstdlib>
#include <cstring>

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Exponents beyond this are out of range whatever the mantissa; saturating keeps the arithmetic small.
constexpr int ExponentClamp = 100000;

}  // namespace

TSKDecimal::TSKDecimal(qint64 value)
    : TSKDecimal(value < 0, value < 0 ? Mantissa(0) - Mantissa(value) : Mantissa(value), 0)
{
}

TSKDecimal::TSKDecimal(bool negative, Mantissa mantissa, int exponent)
{
    if (mantissa == 0)
        return;
    while (mantissa % 10 == 0) {
        mantissa /= 10;
        ++exponent;
    }
    low_ = quint64(mantissa);
    high_ = quint64(mantissa >> 64);
    exponent_ = qint16(exponent);
    negative_ = negative;
}

std::optional<TSKDecimal> TSKDecimal::fromString(const QString &text)
{
    const QByteArray latin1 = text.toLatin1();
    return fromString(std::string_view(latin1.constData(), size_t(latin1.size())));
}

std::optional<TSKDecimal> TSKDecimal::fromString(std::string_view text)
{
    const char *p = text.data();
    const char *const end = p + text.size();
    bool negative = false;
    if (p < end && (*p == '-' || *p == '+'))
        negative = *p++ == '-';

    Mantissa mantissa = 0;
    int digits = 0, exponent = 0, digitsSeen = 0;
    auto takeDigit = [&](char c, bool fraction) {
        ++digitsSeen;
        if (mantissa == 0 && c == '0') {
            exponent -= fraction;
            return;
        }
        if (digits < MaxDigits) {
            mantissa = mantissa * 10 + Mantissa(c - '0');
            ++digits;
            exponent -= fraction;
        } else {
            exponent += !fraction;  // precision beyond 38 digits is dropped
        }
    };
    while (p < end && isDigit(*p))
        takeDigit(*p++, false);
    if (p < end && *p == '.') {
        ++p;
        while (p < end && isDigit(*p))
            takeDigit(*p++, true);
    }
    if (digitsSeen == 0)
        return std::nullopt;

    if (p < end && (*p == 'e' || *p == 'E')) {
        ++p;
        bool negativeExponent = false;
        if (p < end && (*p == '-' || *p == '+'))
            negativeExponent = *p++ == '-';
        if (p == end || !isDigit(*p))
            return std::nullopt;
        int written = 0;
        while (p < end && isDigit(*p))
            written = std::min(written * 10 + (*p++ - '0'), ExponentClamp);
        exponent += negativeExponent ? -written : written;
    }
    if (p != end)
        return std::nullopt;
    if (mantissa == 0)
        return TSKDecimal();

    while (mantissa % 10 == 0) {
        mantissa /= 10;
        ++exponent;
        --digits;
    }
    // A large exponent may still fit by moving zeros back into the mantissa.
    while (exponent > MaxExponent && digits < MaxDigits) {
        mantissa *= 10;
        --exponent;
        ++digits;
    }
    if (exponent > MaxExponent || exponent < MinExponent)
        return std::nullopt;
    TSKDecimal result;
    result.low_ = quint64(mantissa);
    result.high_ = quint64(mantissa >> 64);
    result.exponent_ = qint16(exponent);
    result.negative_ = negative;
    return result;
}

int TSKDecimal::digitsInto(char *buffer) const
{
    char reversed[48];
    int count = 0;
    Mantissa m = mantissa();
    do {
        // Peel 19 digits at a time so most of the work is 64-bit division.
        quint64 chunk = quint64(m % 10000000000000000000ull);
        m /= 10000000000000000000ull;
        for (int i = 0; i < 19 && (chunk != 0 || m != 0); ++i) {
            reversed[count++] = char('0' + chunk % 10);
            chunk /= 10;
        }
    } while (m != 0);
    if (count == 0)
        reversed[count++] = '0';
    for (int i = 0; i < count; ++i)
        buffer[i] = reversed[count - 1 - i];
    return count;
}

void TSKDecimal::appendTo(QString &out) const
{
    char digits[48];
    const int count = digitsInto(digits);
    char text[48 + 2 * 130];
    int length = 0;
    if (negative_ && !isZero())
        text[length++] = '-';
    if (exponent_ >= 0) {
        std::memcpy(text + length, digits, size_t(count));
        length += count;
        std::memset(text + length, '0', size_t(exponent_));
        length += exponent_;
    } else if (count > -exponent_) {
        const int integerDigits = count + exponent_;
        std::memcpy(text + length, digits, size_t(integerDigits));
        length += integerDigits;
        text[length++] = '.';
        std::memcpy(text + length, digits + integerDigits, size_t(count - integerDigits));
        length += count - integerDigits;
    } else {
        text[length++] = '0';
        text[length++] = '.';
        const int zeros = -exponent_ - count;
        std::memset(text + length, '0', size_t(zeros));
        length += zeros;
        std::memcpy(text + length, digits, size_t(count));
        length += count;
    }
    out.append(QLatin1StringView(text, length));
}

QString TSKDecimal::toString() const
{
    QString text;
    appendTo(text);
    return text;
}

double TSKDecimal::toDouble() const
{
    char digits[48];
    const int count = digitsInto(digits);
    char text[80];
    std::snprintf(text, sizeof text, "%s%.*se%d", negative_ ? "-" : "", count, digits, int(exponent_));
    return std::strtod(text, nullptr);
}
