#include "Utility/TSKNumberUtilities.h"

#include <cstdio>

QString TSKNumberUtilities::stringWithFloat(float value)
{
    char text[512];
    int length = std::snprintf(text, sizeof text, "%f", static_cast<double>(value));
    while (length > 0 && text[length - 1] == '0')
        --length;
    if (length > 0 && text[length - 1] == '.')
        --length;
    return QString::fromLatin1(text, length);
}
