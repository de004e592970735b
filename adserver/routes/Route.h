#pragma once

#include <string_view>

// What a request is for, told from its path alone: the routes answer by it,
// and the metrics count requests under its name.
enum class Route { ad, coreScript, page, click, track, stats, metrics, health, readiness, file };
inline constexpr int routeCount = 10;

Route routeOf(std::string_view path);
const char *routeName(Route route);
