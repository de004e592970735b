#pragma once

// The motion ticks' counter lines. Every round the player ever started prints
// twenty a second, so they go into standard output's one buffer, made large,
// which is written out at most 100 ms after a line enters it (and at exit)
// instead of once per line.
namespace TickOutput {

// Before anything is printed: gives standard output its large buffer.
void bufferStandardOutput();
void print(int tick);

}  // namespace TickOutput
