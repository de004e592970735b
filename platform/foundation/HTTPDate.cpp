#include "HTTPDate.h"

#include <QTimeZone>
#include <array>

namespace Velmora::Platform {

namespace {

constexpr std::array<const char *, 7> dayNames{"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
constexpr std::array<const char *, 12> monthNames{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// A cursor over the text; every reader consumes only on success.
class Scanner
{
public:
    explicit Scanner(QStringView text) : text_(text.trimmed()) {}

    bool atEnd() const { return pos_ == text_.size(); }

    bool literal(QStringView expected)
    {
        if (text_.mid(pos_, expected.size()) != expected)
            return false;
        pos_ += expected.size();
        return true;
    }

    // One to `maxDigits` decimal digits.
    std::optional<int> number(int maxDigits)
    {
        int value = 0, digits = 0;
        while (digits < maxDigits && pos_ + digits < text_.size() && text_[pos_ + digits].isDigit()
               && text_[pos_ + digits].unicode() < 128) {
            value = value * 10 + (text_[pos_ + digits].unicode() - '0');
            ++digits;
        }
        if (digits == 0)
            return std::nullopt;
        pos_ += digits;
        return value;
    }

    // Index of the three-letter name found next, compared without case.
    template <size_t N>
    std::optional<int> name(const std::array<const char *, N> &names)
    {
        const QStringView word = text_.mid(pos_, 3);
        for (size_t i = 0; i < N; ++i) {
            if (word.compare(QLatin1StringView(names[i]), Qt::CaseInsensitive) == 0) {
                pos_ += 3;
                return int(i);
            }
        }
        return std::nullopt;
    }

private:
    QStringView text_;
    qsizetype pos_ = 0;
};

}  // namespace

QString HTTPDate::format(const QDateTime &date)
{
    const QDateTime utc = date.toUTC();
    const QDate day = utc.date();
    const QTime time = utc.time();
    return QString::asprintf("%s, %02d %s %04d %02d:%02d:%02d", dayNames[day.dayOfWeek() - 1], day.day(),
                             monthNames[day.month() - 1], day.year(), time.hour(), time.minute(),
                             time.second());
}

std::optional<QDateTime> HTTPDate::parse(QStringView text)
{
    Scanner scan(text);
    if (!scan.name(dayNames) || !scan.literal(u", "))
        return std::nullopt;
    const auto day = scan.number(2);
    if (!day || !scan.literal(u" "))
        return std::nullopt;
    const auto month = scan.name(monthNames);
    if (!month || !scan.literal(u" "))
        return std::nullopt;
    const auto year = scan.number(4);
    if (!year || !scan.literal(u" "))
        return std::nullopt;
    const auto hour = scan.number(2);
    if (!hour || !scan.literal(u":"))
        return std::nullopt;
    const auto minute = scan.number(2);
    if (!minute || !scan.literal(u":"))
        return std::nullopt;
    const auto second = scan.number(2);
    if (!second || !scan.atEnd())
        return std::nullopt;

    const QDate date(*year, *month + 1, *day);
    const QTime time(*hour, *minute, *second);
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    return QDateTime(date, time, QTimeZone::utc());
}

QString HTTPDate::withoutZone(const QString &headerValue)
{
    const qsizetype zone = headerValue.indexOf(QLatin1StringView("GMT"));
    return zone < 0 ? headerValue : headerValue.left(zone);
}

}  // namespace Velmora::Platform
