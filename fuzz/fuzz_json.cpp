// Any bytes: the reader answers a value or an error. Whatever it reads, the
// writer must turn into text the reader accepts again, unchanged.
#include "json/TSKJSON.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    TSKJSON json;
    TSKJSON::OptionalError error;
    const QVariant value = json.objectWithUTF8(QByteArrayView(data, qsizetype(size)), true, &error);
    if (value.isValid() == error.has_value())
        std::abort();
    if (!value.isValid())
        return 0;

    const QString written = json.stringWithFragment(value, &error);
    if (written.isNull())
        std::abort();
    const QVariant reread = json.fragmentWithString(written, &error);
    if (!reread.isValid())
        std::abort();
    // Folded surrogate pairs can leave lone surrogates, which UTF-8 cannot carry.
    const bool hasSurrogates = std::any_of(written.begin(), written.end(), [](QChar c) { return c.isSurrogate(); });
    if (!hasSurrogates && json.stringWithFragment(reread) != written)
        std::abort();
    return 0;
}
