#include "Timing/TSKTiming.h"

#include "MonotonicClock.h"
#include "PropertyList.h"

#include <cmath>

using namespace Velmora::Platform;

TSKTiming::TSKTiming(const QString &category) : category_(category) {}

std::optional<TSKTiming> TSKTiming::fromDictionaryRepresentation(const QVariant &representation)
{
    if (representation.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap map = representation.toMap();
    const QVariant category = map.value(QStringLiteral("category"));
    if (category.typeId() != QMetaType::QString)
        return std::nullopt;
    TSKTiming timing(category.toString());
    timing.startSeconds_ = map.value(QStringLiteral("start")).toDouble();
    timing.endSeconds_ = map.value(QStringLiteral("end")).toDouble();
    const QVariant userData = map.value(QStringLiteral("userData"));
    if (userData.typeId() == QMetaType::QVariantMap)
        timing.userData_ = userData.toMap();
    return timing;
}

double TSKTiming::counter()
{
    return MonotonicClock::seconds();
}

QString TSKTiming::category() const
{
    return category_;
}

double TSKTiming::startSeconds() const
{
    return startSeconds_;
}

double TSKTiming::endSeconds() const
{
    return endSeconds_;
}

bool TSKTiming::isActive() const
{
    return startSeconds_ > 0 && endSeconds_ == 0;
}

void TSKTiming::start()
{
    startSeconds_ = counter();
    endSeconds_ = 0;
}

void TSKTiming::end()
{
    if (startSeconds_ > 0)
        endSeconds_ = counter();
}

void TSKTiming::reset()
{
    startSeconds_ = 0;
    endSeconds_ = 0;
}

uint32_t TSKTiming::elapsedMilliseconds() const
{
    // Not ended yet: up to now (for a timing never started, the clock reading itself).
    const double end = endSeconds_ == 0 || endSeconds_ < startSeconds_ ? counter() : endSeconds_;
    const double milliseconds = std::trunc((end - startSeconds_) * 1000.0);
    if (!(milliseconds > 0))
        return 0;
    if (milliseconds >= 4294967295.0)
        return UINT32_MAX;
    return static_cast<uint32_t>(milliseconds);
}

// Sent as a signed 32-bit number, the form the ad server has always received.
QString TSKTiming::elapsedMillisecondsString() const
{
    return QString::number(static_cast<int32_t>(elapsedMilliseconds()));
}

void TSKTiming::setValueForKey(const QVariant &value, const QString &key)
{
    if (!userData_)
        userData_.emplace();
    if (value.isValid())
        userData_->insert(key, value);
}

QVariant TSKTiming::valueForKey(const QString &key) const
{
    return userData_ ? userData_->value(key) : QVariant();
}

void TSKTiming::removeValueForKey(const QString &key)
{
    if (userData_)
        userData_->remove(key);
}

QVariantMap TSKTiming::keysAndValues() const
{
    return userData_.value_or(QVariantMap());
}

QVariantMap TSKTiming::dictionaryRepresentation() const
{
    QVariantMap representation{
        {QStringLiteral("category"), category_},
        {QStringLiteral("start"), startSeconds_},
        {QStringLiteral("end"), endSeconds_},
    };
    if (userData_)
        representation.insert(QStringLiteral("userData"), *userData_);
    return representation;
}

QString TSKTiming::description() const
{
    return QStringLiteral("TSKTiming (%1): %2")
        .arg(QString::asprintf("%p", static_cast<const void *>(this)),
             QString::fromUtf8(PropertyList::toXml(dictionaryRepresentation(), PropertyList::Form::Fragment)));
}
