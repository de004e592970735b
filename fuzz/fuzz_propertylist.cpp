// Property-list reader: any bytes either fail cleanly or give a value whose
// written form reads back to the same written form.
#include "PropertyList.h"

#include <cstdint>
#include <cstdlib>

using namespace Velmora::Platform;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), qsizetype(size));
    QString error;
    const std::optional<QVariant> value = PropertyList::fromXml(input, &error);
    if (!value) {
        if (error.isEmpty())
            abort();
        return 0;
    }
    if (!PropertyList::isPropertyListValue(*value))
        abort();
    const QByteArray written = PropertyList::toXml(*value);
    const std::optional<QVariant> reread = PropertyList::fromXml(written);
    if (!reread || PropertyList::toXml(*reread) != written)
        abort();
    return 0;
}
