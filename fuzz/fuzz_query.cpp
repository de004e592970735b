// Any text: the query reader never fails, keys come out lowercased, and a value
// encoded with encodeURL reads back as itself.
#include "Utility/TSKNetworkUtilities.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const QVariantMap read = TSKNetworkUtilities::dictionaryFromQueryString(text);
    for (auto it = read.cbegin(); it != read.cend(); ++it) {
        if (it.key() != it.key().toLower())
            std::abort();
    }
    const QVariantMap encoded = TSKNetworkUtilities::dictionaryFromQueryString("k=" + TSKNetworkUtilities::encodeURL(text));
    if (encoded.value("k").toString() != text)
        std::abort();
    TSKNetworkUtilities::parameterValueForKeyFromURL("k", QUrl(text));
    return 0;
}
