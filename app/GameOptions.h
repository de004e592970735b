#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// The game's command line. It is read before the QApplication exists: the
// scale must be in the environment by then, and --help, --version and a
// mistake must not need a display. Qt's own options (-platform, -style, ...)
// are left for the QApplication, and whatever follows --webEngineArgs for
// the web engine.
class GameOptions
{
public:
    static constexpr double kDefaultRoundLimitSeconds = 60;
    static constexpr int kMaximumScale = 16;

    enum class Outcome {
        Play,  // the values below hold, and the ad network options are in force
        Exit,  // text() is the help or the version, for standard output
        Fail,  // text() says what is wrong with the command line
    };

    // `arguments` starts with the program, as QCoreApplication::arguments() does.
    Outcome parse(const QStringList &arguments);
    const QString &text() const { return text_; }

    std::optional<int> scale() const { return scale_; }
    const QString &screenshotDirectory() const { return screenshotDirectory_; }
    std::optional<int> autoplayRounds() const { return autoplayRounds_; }
    double roundLimitSeconds() const { return roundLimitSeconds_; }
    // The answer to the privacy question for this run: personalised ads or
    // not; empty when the command line leaves it to the player.
    std::optional<bool> personalisedAds() const { return personalisedAds_; }

private:
    Outcome fail(const QString &message);

    QString text_;
    std::optional<int> scale_;
    QString screenshotDirectory_;
    std::optional<int> autoplayRounds_;
    double roundLimitSeconds_ = kDefaultRoundLimitSeconds;
    std::optional<bool> personalisedAds_;
};
