#include "HiddenWebPage.h"

#include "WebProfile.h"

namespace Velmora::Platform {

void HiddenWebPage::deleteSoon()
{
    forgetDelegate();
    if (WebProfile::isProgramLeaving())
        delete this;
    else
        deleteLater();
}

}  // namespace Velmora::Platform
