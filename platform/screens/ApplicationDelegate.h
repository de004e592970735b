#pragma once

#include <QVariantMap>


namespace Velmora::Platform {

class Application;

// What the program implements to be told that it has launched.
class ApplicationDelegate
{
public:
    virtual ~ApplicationDelegate() = default;

    // Set up the window and the first screen here. The launch options are
    // always empty on this platform. The did-finish-launching notification
    // is posted after this returns.
    virtual bool applicationDidFinishLaunchingWithOptions(Application *application,
                                                          const QVariantMap &launchOptions) = 0;
};

}  // namespace Velmora::Platform
