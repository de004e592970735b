#pragma once

#include <QDateTime>
#include <QStringView>
#include <optional>

namespace Velmora::Platform {

// HTTP-style dates in the form "Tue, 15 Nov 2011 08:12:31", always in UTC and
// without a zone word: the caller decides whether a trailing "GMT" is written
// or stripped.
namespace HTTPDate {

// English day and month abbreviations whatever the system locale.
QString format(const QDateTime &date);

// Reads "EEE, dd MMM yyyy HH:mm:ss" in UTC; leading and trailing blanks are
// allowed, anything else (including a zone word) is not. The weekday must be
// a weekday name but is not checked against the date.
std::optional<QDateTime> parse(QStringView text);

// The header value cut before its first "GMT", keeping the blank before it.
QString withoutZone(const QString &headerValue);

}  // namespace HTTPDate

}  // namespace Velmora::Platform
