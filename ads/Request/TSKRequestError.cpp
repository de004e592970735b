#include <VelmoraAds/TSKRequestError.h>

#include "Request/TSKRequestPrivate.h"
#include "Utility/TSKIdentifierUtilities.h"

using namespace Velmora::Platform;

TSKRequestError::TSKRequestError(qint64 code, const TSKRequest *request) : Error{Domain, code, {}}
{
    if (code == InvalidRequest && request)
        userInfo = TSKRequestPrivate::from(request)->sentParameters();
    const QString message = localizedStringForErrorCode(code);
    userInfo.insert(LocalizedDescriptionKey, message);
    userInfo.insert(LocalizedFailureReasonKey, message);
}

TSKRequestError TSKRequestError::errorWithCodeRequest(qint64 code, const TSKRequest *request)
{
    return TSKRequestError(code, request);
}

QString TSKRequestError::localizedStringForErrorCode(qint64 code)
{
    int major = 0;
    int minor = 0;
    int bugFix = 0;
    if (code == OSVersionTooLow)
        TSKIdentifierUtilities::getOSMajorMinorBugFix(&major, &minor, &bugFix);
    return localizedStringForErrorCodeOnOS(code, major, minor, bugFix);
}

QString TSKRequestError::localizedStringForErrorCodeOnOS(qint64 code, int osMajor, int osMinor, int osBugFix)
{
    const QString prefix = QStringLiteral("Request Error: ");
    switch (code) {
    case NoFill:
        return prefix + QStringLiteral("No ad to show.");
    case NetworkError:
        return prefix + QStringLiteral("A network error occurred.");
    case OSVersionTooLow:
        return prefix
            + QString::asprintf("This device's OS is %i.%i.%i.  It is below the minimum of %i.%i.", osMajor, osMinor,
                                osBugFix, MinimumOSMajor, MinimumOSMinor);
    case Timeout:
        return prefix + QStringLiteral("The ad request was unable to be fulfilled before a timeout occurred.");
    default:
        return prefix + QStringLiteral("Invalid ad request parameter(s).  Check the console for details.");
    }
}
