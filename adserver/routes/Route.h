#pragma once

#include <string_view>

// What a request is for, told from its path alone: the routes answer by it,
// and the metrics count requests under its name.
enum class Route { ad, coreScript, page, click, track, stats, metrics, dashboard, health, readiness, file };
inline constexpr int routeCount = 11;

Route routeOf(std::string_view path);
const char *routeName(Route route);
// What only the operator's listener serves: the public port answers 404.
constexpr bool isOperatorOnly(Route route)
{
    return route == Route::stats || route == Route::metrics || route == Route::dashboard;
}
