#include "Request/TSKRequestError.h"
#include "Request/TSKRequestPrivate.h"
#include "TestMain.h"
#include "Utility/TSKIdentifierUtilities.h"

class TestRequestError : public QObject
{
    Q_OBJECT
private slots:
    void everyCodeHasItsMessage()
    {
        const QString invalid = QStringLiteral("Request Error: Invalid ad request parameter(s).  Check the console for details.");
        QCOMPARE(TSKRequestError::localizedStringForErrorCode(0), invalid);
        QCOMPARE(TSKRequestError::localizedStringForErrorCode(1), QStringLiteral("Request Error: No ad to show."));
        QCOMPARE(TSKRequestError::localizedStringForErrorCode(2), QStringLiteral("Request Error: A network error occurred."));
        QCOMPARE(TSKRequestError::localizedStringForErrorCode(4),
                 QStringLiteral("Request Error: The ad request was unable to be fulfilled before a timeout occurred."));
        QCOMPARE(TSKRequestError::localizedStringForErrorCode(7), invalid);
        QCOMPARE(TSKRequestError::localizedStringForErrorCode(-1), invalid);

        QCOMPARE(TSKRequestError::localizedStringForErrorCodeOnOS(3, 2, 2, 1),
                 QStringLiteral("Request Error: This device's OS is 2.2.1.  It is below the minimum of 3.0."));
        int major = -1, minor = -1, bugFix = -1;
        TSKIdentifierUtilities::getOSMajorMinorBugFix(&major, &minor, &bugFix);
        QCOMPARE(TSKRequestError::localizedStringForErrorCode(3),
                 TSKRequestError::localizedStringForErrorCodeOnOS(3, major, minor, bugFix));
    }

    void onlyAnInvalidRequestCarriesTheRequestParameters()
    {
        const auto request = TSKRequest::request();
        request->addKeyword(QStringLiteral("arcade"));
        request->setTesting(true);

        const TSKRequestError withoutRequest(TSKRequestError::InvalidRequest, nullptr);
        QCOMPARE(withoutRequest.domain, TSKRequestError::Domain);
        QCOMPARE(withoutRequest.code, 0);
        QCOMPARE(withoutRequest.userInfo.keys(), QStringList({Error::LocalizedDescriptionKey,
                                                              TSKRequestError::LocalizedFailureReasonKey}));
        QCOMPARE(withoutRequest.localizedDescription(), TSKRequestError::localizedStringForErrorCode(0));
        QCOMPARE(withoutRequest.userInfo.value(TSKRequestError::LocalizedFailureReasonKey),
                 QVariant(TSKRequestError::localizedStringForErrorCode(0)));

        // Handed on as the library's plain error value, nothing is lost.
        const std::optional<Error> invalid = TSKRequestError::errorWithCodeRequest(0, request.get());
        QCOMPARE(invalid->code, 0);
        QCOMPARE(invalid->userInfo.value(QStringLiteral("kw")), QVariant(QVariantList{QStringLiteral("arcade")}));
        QCOMPARE(invalid->userInfo.value(QStringLiteral("testing")), QVariant(QStringLiteral("1")));
        QCOMPARE(invalid->userInfo.value(QStringLiteral("js")), QVariant(TSKRequest::sdkVersion()));
        QVERIFY(invalid->userInfo.contains(QStringLiteral("preqs")));
        QCOMPARE(invalid->localizedDescription(), TSKRequestError::localizedStringForErrorCode(0));

        for (qint64 code : {1, 2, 3, 4, 7}) {
            const TSKRequestError error(code, request.get());
            QCOMPARE(error.code, code);
            QCOMPARE(error.userInfo.size(), 2);
            QCOMPARE(error.localizedDescription(), TSKRequestError::localizedStringForErrorCode(code));
        }
    }
};

VELMORA_TEST_MAIN(TestRequestError)
#include "tst_requesterror.moc"
