#include "Random.h"

#include <array>
#include <cstdlib>
#include <utility>

namespace Velmora::Platform {

namespace {

Random::Source &installedSource()
{
    static Random::Source source;
    return source;
}

// glibc's arc4random() asks the kernel on every call; drawn a block at a time,
// the same generator costs one system call per 256 numbers (a long session's
// pick-up timers draw thousands a second).
uint32_t systemRandom()
{
    thread_local std::array<uint32_t, 256> block;
    thread_local size_t next = block.size();
    if (next == block.size()) {
        ::arc4random_buf(block.data(), sizeof block);
        next = 0;
    }
    return block[next++];
}

}  // namespace

void Random::setSource(Source source)
{
    installedSource() = std::move(source);
}

uint32_t Random::arc4random()
{
    const Random::Source &source = installedSource();
    return source ? source() : systemRandom();
}

}  // namespace Velmora::Platform
