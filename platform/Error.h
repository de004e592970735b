#pragma once
// Temporary stand-in until the shared error type lands.
#include <QMetaType>
#include <QString>
#include <QVariantMap>
#include <optional>

class Error
{
public:
    Error() = default;
    Error(QString domain, qint64 code, QVariantMap userInfo = {})
        : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}
    const QString &domain() const { return domain_; }
    qint64 code() const { return code_; }
    const QVariantMap &userInfo() const { return userInfo_; }
    QString localizedDescription() const { return userInfo_.value("NSLocalizedDescription").toString(); }
    bool operator==(const Error &) const = default;
private:
    QString domain_;
    qint64 code_ = 0;
    QVariantMap userInfo_;
};
Q_DECLARE_METATYPE(Error)
Q_DECLARE_METATYPE(std::optional<Error>)
