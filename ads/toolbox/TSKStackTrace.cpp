#include "toolbox/TSKStackTrace.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <algorithm>
#include <cinttypes>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

constexpr int MaxFrames = 256;

QByteArray demangled(const char *symbol)
{
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(symbol, nullptr, nullptr, &status), &std::free);
    return status == 0 && name ? QByteArray(name.get()) : QByteArray(symbol);
}

// Strips the parameter list (and any return type) from a demangled name:
// "int ns::Cls<a::b>::run(int) const" -> "ns::Cls<a::b>::run".
QByteArray qualifiedName(const QByteArray &name)
{
    static const QByteArray anonymous("(anonymous namespace)");
    int depth = 0;
    qsizetype start = 0;
    for (qsizetype i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (c == '(' && depth == 0 && name.mid(i, anonymous.size()) == anonymous) {
            i += anonymous.size() - 1;
        } else if (c == '<') {
            ++depth;
        } else if (c == '>') {
            --depth;
        } else if (c == ' ' && depth == 0 && !name.mid(start, i - start).startsWith("operator")) {
            start = i + 1;
        } else if (c == '(' && depth == 0 && i > start) {
            return name.mid(start, i - start);
        }
    }
    return name.mid(start);
}

// Position of the last "::" outside template arguments, or -1.
qsizetype lastScopeSeparator(const QByteArray &name)
{
    int depth = 0;
    qsizetype found = -1;
    for (qsizetype i = 0; i + 1 < name.size(); ++i) {
        if (name[i] == '<')
            ++depth;
        else if (name[i] == '>')
            --depth;
        else if (depth == 0 && name[i] == ':' && name[i + 1] == ':')
            found = i++;
    }
    return found;
}

void describe(quintptr address, TSKAddressDescriptor &descriptor)
{
    descriptor = TSKAddressDescriptor{};
    descriptor.address = address;
    Dl_info info{};
    if (dladdr(reinterpret_cast<void *>(address), &info) == 0) {
        descriptor.symbol = "???";
        return;
    }
    if (info.dli_fname)
        descriptor.filename = info.dli_fname;
    if (!info.dli_sname || !info.dli_saddr) {
        descriptor.symbol = "???";
        return;
    }
    const QByteArray name = qualifiedName(demangled(info.dli_sname));
    const qsizetype separator = lastScopeSeparator(name);
    if (separator > 0) {
        descriptor.className = name.left(separator);
        descriptor.symbol = name.mid(separator + 2);
    } else {
        descriptor.symbol = name.isEmpty() ? QByteArray("???") : name;
    }
}

QByteArray formattedAddress(quintptr address)
{
    char text[32];
    if (address == 0)
        std::snprintf(text, sizeof text, "%10s", "(nil)");
    else
        std::snprintf(text, sizeof text, "0x%08" PRIxPTR, static_cast<uintptr_t>(address));
    return text;
}

}  // namespace

size_t TSKGetStackAddressDescriptorsForAddresses(const quintptr *addresses, TSKAddressDescriptor *descriptors,
                                                 size_t count)
{
    if (!addresses || !descriptors || count == 0)
        return 0;
    for (size_t i = 0; i < count; ++i)
        describe(addresses[i], descriptors[i]);
    return count;
}

QString TSKStackTraceFromAddressDescriptors(const TSKAddressDescriptor *descriptors, size_t count)
{
    QByteArray trace;
    for (size_t i = 0; i < count; ++i) {
        const TSKAddressDescriptor &frame = descriptors[i];
        const QByteArray file = frame.filename.isEmpty() ? QByteArray("??") : frame.filename.mid(frame.filename.lastIndexOf('/') + 1);
        char head[160];
        std::snprintf(head, sizeof head, "#%-2zu %-35s %s ", i, file.constData(), formattedAddress(frame.address).constData());
        if (i > 0)
            trace += '\n';
        trace += head;
        if (!frame.className.isEmpty()) {
            trace += frame.isClassMethod ? "+[" : "-[";
            trace += frame.className + ' ' + frame.symbol + ']';
        } else {
            trace += (frame.symbol.isNull() ? QByteArray("??") : frame.symbol) + "()";
        }
    }
    return QString::fromUtf8(trace);
}

QString TSKStackTrace()
{
    void *frames[MaxFrames];
    const int depth = backtrace(frames, MaxFrames);
    // How many frames lie above the caller's depends on the build: this function's own, and one more
    // when a runtime wraps backtrace() (the sanitizers do). The caller's frame is the one that returns
    // where this call returns.
    const auto callerFrame = std::find(frames, frames + depth, __builtin_return_address(0));
    if (callerFrame == frames + depth)
        return QString("");
    std::vector<quintptr> addresses;
    for (auto frame = callerFrame; frame != frames + depth; ++frame)
        addresses.push_back(reinterpret_cast<quintptr>(*frame));
    std::vector<TSKAddressDescriptor> descriptors(addresses.size());
    const size_t described = TSKGetStackAddressDescriptorsForAddresses(addresses.data(), descriptors.data(), addresses.size());
    return TSKStackTraceFromAddressDescriptors(descriptors.data(), described);
}
