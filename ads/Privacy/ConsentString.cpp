#include "Privacy/ConsentString.h"

#include <QByteArray>

#include <algorithm>
#include <utility>
#include <vector>

namespace Velmora::Ads {
namespace {

// Field widths of the core segment, in bits, in the order they are written.
constexpr int kVersionBits = 6;
constexpr int kBitsBeforeSpecialFeatures = 134;  // created .. useNonStandardTexts
constexpr int kSpecialFeatureCount = 12;
constexpr int kPurposeCount = 24;
constexpr int kVendorIdBits = 16;
constexpr int kRangeEntryCountBits = 12;

class BitReader
{
public:
    explicit BitReader(const QByteArray &bytes)
        : bytes_(reinterpret_cast<const uchar *>(bytes.constData())), bitCount_(quint64(bytes.size()) * 8)
    {
    }

    bool has(qint64 count) const { return count >= 0 && position_ + quint64(count) <= bitCount_; }

    // Callers check has() first: a short string is malformed, not zero-filled.
    quint32 read(int count)
    {
        quint32 value = 0;
        for (int i = 0; i < count; ++i, ++position_)
            value = (value << 1) | ((bytes_[position_ / 8] >> (7 - position_ % 8)) & 1);
        return value;
    }

    void skip(qint64 count) { position_ += quint64(count); }

private:
    const uchar *bytes_;
    quint64 bitCount_;
    quint64 position_ = 0;
};

std::optional<QString> readFlags(BitReader &reader, int count)
{
    if (!reader.has(count))
        return std::nullopt;
    QString flags(count, QLatin1Char('0'));
    QChar *flag = flags.data();
    for (int i = 0; i < count; ++i) {
        if (reader.read(1))
            flag[i] = QLatin1Char('1');
    }
    return flags;
}

using VendorRanges = std::vector<std::pair<int, int>>;

std::optional<VendorRanges> readRanges(BitReader &reader, int maximumVendorId)
{
    if (!reader.has(kRangeEntryCountBits))
        return std::nullopt;
    VendorRanges ranges;
    for (int entries = int(reader.read(kRangeEntryCountBits)); entries > 0; --entries) {
        if (!reader.has(1 + kVendorIdBits))
            return std::nullopt;
        const bool isRange = reader.read(1);
        const int first = int(reader.read(kVendorIdBits));
        int last = first;
        if (isRange) {
            if (!reader.has(kVendorIdBits))
                return std::nullopt;
            last = int(reader.read(kVendorIdBits));
        }
        if (first < 1 || last < first || last > maximumVendorId)
            return std::nullopt;
        ranges.emplace_back(first, last);
    }
    std::sort(ranges.begin(), ranges.end());
    return ranges;
}

// A vendor section is either one flag per vendor up to the highest id, or a
// list of single ids and ranges.
std::optional<QString> readVendors(BitReader &reader)
{
    if (!reader.has(kVendorIdBits + 1))
        return std::nullopt;
    const int maximumVendorId = int(reader.read(kVendorIdBits));
    if (reader.read(1) == 0)
        return readFlags(reader, maximumVendorId);
    const auto ranges = readRanges(reader, maximumVendorId);
    if (!ranges)
        return std::nullopt;
    QString flags(maximumVendorId, QLatin1Char('0'));
    // Sorted, each id is written once however the ranges overlap, so a
    // hostile string costs at most one pass over the flags.
    QChar *flag = flags.data();
    int filled = 0;
    for (const auto &[first, last] : *ranges) {
        if (last > filled)
            std::fill(flag + std::max(first, filled + 1) - 1, flag + last, QLatin1Char('1'));
        filled = std::max(filled, last);
    }
    return flags;
}

}  // namespace

std::optional<ConsentBits> ConsentString::decode(QStringView text)
{
    if (text.isEmpty() || text.size() > kMaximumLength)
        return std::nullopt;
    const QStringView core = text.left(text.indexOf(QLatin1Char('.')));
    const auto decoded = QByteArray::fromBase64Encoding(core.toLatin1(),
        QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    BitReader reader(*decoded);
    if (!reader.has(kVersionBits) || reader.read(kVersionBits) != 2 || !reader.has(kBitsBeforeSpecialFeatures))
        return std::nullopt;
    reader.skip(kBitsBeforeSpecialFeatures);
    ConsentBits bits;
    const auto specialFeatures = readFlags(reader, kSpecialFeatureCount);
    const auto purposes = readFlags(reader, kPurposeCount);
    // Legitimate interests, the purpose one treatment and the publisher's country.
    constexpr int kBitsBeforeVendors = kPurposeCount + 1 + 12;
    if (!specialFeatures || !purposes || !reader.has(kBitsBeforeVendors))
        return std::nullopt;
    reader.skip(kBitsBeforeVendors);
    const auto vendors = readVendors(reader);
    if (!vendors)
        return std::nullopt;
    return ConsentBits{*purposes, *vendors, *specialFeatures};
}

}  // namespace Velmora::Ads
