#include "routes/Route.h"

#include "routes/CoreScript.h"

Route routeOf(std::string_view path)
{
    if (path == "/ad")
        return Route::ad;
    if (path == CoreScript::path)
        return Route::coreScript;
    if (path.starts_with("/page/"))
        return Route::page;
    if (path.starts_with("/click/"))
        return Route::click;
    if (path.starts_with("/track/"))
        return Route::track;
    if (path == "/stats")
        return Route::stats;
    if (path == "/metrics")
        return Route::metrics;
    if (path == "/" || path == "/index.html")
        return Route::dashboard;
    if (path == "/healthz")
        return Route::health;
    if (path == "/readyz")
        return Route::readiness;
    return Route::file;
}

const char *routeName(Route route)
{
    static constexpr const char *names[routeCount] = {"ad", "core_script", "page", "click", "track", "stats", "metrics", "dashboard", "healthz", "readyz", "file"};
    return names[int(route)];
}
