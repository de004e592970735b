// Any If-Modified-Since value must parse or be refused without harm, and a
// parsed date must survive the server writing it and reading it back.
#include "transport/HttpDate.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray header(reinterpret_cast<const char *>(data), qsizetype(size));
    const QDateTime date = HttpDate::parse(header);
    if (!date.isValid())
        return 0;
    if (HttpDate::parse(HttpDate::format(date)) != date)
        abort();
    return 0;
}
