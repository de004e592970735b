#include "Random.h"

#include <cstdlib>
#include <utility>

namespace Velmora::Platform {

namespace {

Random::Source &installedSource()
{
    static Random::Source source;
    return source;
}

}  // namespace

void Random::setSource(Source source)
{
    installedSource() = std::move(source);
}

uint32_t Random::arc4random()
{
    const Random::Source &source = installedSource();
    return source ? source() : ::arc4random();
}

}  // namespace Velmora::Platform
