#pragma once

#include <QByteArray>

namespace Velmora::Platform {
class UserDefaults;
}

namespace Velmora::Ads {

// The identifier ad requests carry: 16 random bytes drawn for this program
// alone and kept in its own user defaults. Nothing of the machine goes into
// it, so two programs never share one and nobody can work it back to the
// machine; a reset draws new bytes.
class AdvertisingIdentifier
{
public:
    static constexpr int kByteCount = 16;

    // Over the program's standard user defaults.
    static AdvertisingIdentifier &shared();

    explicit AdvertisingIdentifier(Velmora::Platform::UserDefaults &store);

    // The kept bytes, drawn and kept first when there are none.
    QByteArray bytes();
    bool exists() const;
    // New bytes, at once.
    void reset();
    void erase();

private:
    QByteArray stored() const;
    void store(const QByteArray &bytes);

    Velmora::Platform::UserDefaults &store_;
};

}  // namespace Velmora::Ads
