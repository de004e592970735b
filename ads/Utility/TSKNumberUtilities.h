#pragma once

#include <QString>

class TSKNumberUtilities
{
public:
    // "%f" without trailing zeros or a bare decimal point: 2.0 -> "2", 1.5 -> "1.5".
    static QString stringWithFloat(float value);
};
