#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

// What is known about one return address of a call stack.
struct TSKAddressDescriptor
{
    quintptr address = 0;
    QByteArray symbol;     // method or function name; "???" when nothing was found
    QByteArray className;  // class of a member function, empty for a plain function
    bool isClassMethod = false;
    QByteArray filename;   // path of the loaded image holding the address, empty if unknown
};

// The calling thread's stack, one line per frame from the caller of this function down; "" when it cannot
// be had. Never inlined: the caller is found by this function's own return address.
Q_NEVER_INLINE QString TSKStackTrace();

// Fills `descriptors` for `addresses`; answers count, or 0 when either array is null or count is 0.
size_t TSKGetStackAddressDescriptorsForAddresses(const quintptr *addresses, TSKAddressDescriptor *descriptors,
                                                 size_t count);

// "#0  image  0x...  -[Class method]" or "... function()", lines joined by "\n".
QString TSKStackTraceFromAddressDescriptors(const TSKAddressDescriptor *descriptors, size_t count);
