// Any bytes, read as a Last-Modified value, must parse or be refused without
// harm; a parsed date must survive writing and reading back unchanged.
#include "HTTPDate.h"

#include <QString>
#include <cstdint>
#include <cstdlib>

using namespace Velmora::Platform;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString header = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<QDateTime> date = HTTPDate::parse(HTTPDate::withoutZone(header));
    if (!date)
        return 0;
    if (!date->isValid())
        abort();
    const std::optional<QDateTime> again = HTTPDate::parse(HTTPDate::format(*date));
    if (!again || *again != *date)
        abort();
    return 0;
}
