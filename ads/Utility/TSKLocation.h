#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Where the user is, as a publisher may attach it to an ad request: precise
// coordinates with an accuracy, or a free-text description such as a city.
// Sent to the ad server enciphered, as the "uloc" parameter.
class TSKLocation
{
public:
    // Empty when the coordinates are not precise (see isPreciseLocation).
    static std::optional<TSKLocation> locationWithLatitudeLongitudeAccuracy(float latitude, float longitude,
                                                                           float accuracy);
    // Empty for an empty text.
    static std::optional<TSKLocation> locationWithDescription(const QString &description);

    // The 16-byte AES key the ad server deciphers "uloc" with.
    static QByteArray encryptionKey();

    float latitude() const { return latitude_; }
    float longitude() const { return longitude_; }
    float accuracy() const { return accuracy_; }

    // Seconds since 1970-01-01 UTC; the time the location was made unless set.
    double timestamp() const { return timestamp_; }
    void setTimestamp(double timestamp) { timestamp_ = timestamp; }

    // Within the valid ranges, and off both the equator and the prime
    // meridian: a zero there is far more likely a missing value than a place.
    bool isPreciseLocation() const;

    // The free text, else "latitude,longitude" for a precise location, else "".
    QString description() const;

    // "e1+" and the enciphered location in web-safe base 64; a null string
    // when enciphering fails (a non-ASCII description does: its padding is
    // counted in characters, so its bytes do not fill whole cipher blocks).
    QString encodedRepresentation() const;

    // Equal places, whenever they were made.
    bool operator==(const TSKLocation &other) const;

private:
    TSKLocation(float latitude, float longitude, float accuracy, const QString &description);

    QString plainText() const;

    float latitude_ = 0;
    float longitude_ = 0;
    float accuracy_ = 0;
    QString description_;
    double timestamp_ = 0;
};
