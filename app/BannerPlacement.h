#pragma once

class TSKBannerView;
namespace Velmora::Platform {
class ViewController;
}

// The one way a game screen shows its banner: 320 by 50 points along the
// bottom of its view, the game's ad unit, a fresh request. The game never
// touches the banner again.
namespace BannerPlacement {

inline constexpr const char *kAdUnitID = "a1f3c29b07d5e64";

TSKBannerView *place(Velmora::Platform::ViewController *screen);

}  // namespace BannerPlacement
