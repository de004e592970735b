#pragma once

#include <cstdint>
#include <functional>

namespace Velmora::Platform {

// The phone's arc4random(), reached through the platform so that tests can
// install a deterministic source.
namespace Random {

using Source = std::function<uint32_t()>;

// Replaces the source; an empty function restores the system's generator.
void setSource(Source source);

// glibc's arc4random generator unless a source is installed.
uint32_t arc4random();

}  // namespace Random

}  // namespace Velmora::Platform
