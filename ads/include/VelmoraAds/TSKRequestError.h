#pragma once

#include "Error.h"

#include <VelmoraAds/velmoraads_export.h>

class TSKRequest;

/// The one error the ad library hands to publishers: the library's domain, a
/// code from 0 to 4 and a fixed message. An invalid request (code 0) also
/// carries the parameters it sent (none if it was never sent), so the
/// publisher can see what went wrong.
class VELMORAADS_EXPORT TSKRequestError : public Velmora::Platform::Error
{
public:
    enum Code { InvalidRequest = 0, NoFill = 1, NetworkError = 2, OSVersionTooLow = 3, Timeout = 4 };

    static inline const QString Domain = QStringLiteral("com.tiskos.ads.RequestError");
    static inline const QString LocalizedFailureReasonKey = QStringLiteral("localizedFailureReason");
    /// The oldest OS the library runs on.
    static constexpr int MinimumOSMajor = 3;
    static constexpr int MinimumOSMinor = 0;

    /// `request` may be null; codes outside 1..4 read as an invalid request.
    TSKRequestError(qint64 code, const TSKRequest *request);
    static TSKRequestError errorWithCodeRequest(qint64 code, const TSKRequest *request);

    /// "Request Error: " and the message of the code on this device.
    static QString localizedStringForErrorCode(qint64 code);
    /// The same on a device whose OS has the given version.
    static QString localizedStringForErrorCodeOnOS(qint64 code, int osMajor, int osMinor, int osBugFix);
};
