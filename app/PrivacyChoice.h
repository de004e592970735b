#pragma once

#include <optional>

// The player's answer to the privacy question: personalised ads or not. It
// is kept in the game's settings, so it is asked once, and handed to the ad
// library, whose requests follow it from the next one on.
namespace PrivacyChoice {

// Empty until the player has answered.
std::optional<bool> stored();
// Keeps the answer and puts it in force.
void store(bool personalised);
// Puts an answer in force for this run only.
void apply(bool personalised);

}  // namespace PrivacyChoice
