// The first byte picks an alphabet and padding; the rest is decoded as text
// and encoded as data. Whatever decodes must encode and decode to the same
// bytes, and every encoding must decode back.
#include "toolbox/TSKStringEncoding.h"

#include <cstdlib>

namespace {

TSKStringEncoding encodingFor(uint8_t selector)
{
    switch (selector % 7) {
    case 0: return TSKStringEncoding::binaryStringEncoding();
    case 1: return TSKStringEncoding::hexStringEncoding();
    case 2: return TSKStringEncoding::rfc4648Base32StringEncoding();
    case 3: return TSKStringEncoding::rfc4648Base32HexStringEncoding();
    case 4: return TSKStringEncoding::crockfordBase32StringEncoding();
    case 5: return TSKStringEncoding::rfc4648Base64StringEncoding();
    default: return TSKStringEncoding::rfc4648Base64WebsafeStringEncoding();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    TSKStringEncoding encoding = encodingFor(data[0]);
    encoding.setDoPad(data[0] & 0x80);
    if (data[0] & 0x40)
        encoding.ignoreCharacters(" \n");
    const QByteArray rest(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));

    if (const auto decoded = encoding.decode(QString::fromLatin1(rest))) {
        if (encoding.decode(encoding.encode(*decoded)) != decoded)
            std::abort();
    }
    if (encoding.decode(encoding.encode(rest)) != rest)
        std::abort();
    return 0;
}
