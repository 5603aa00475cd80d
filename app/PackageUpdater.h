// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/desktop/PackageUpdates.h"
#include "platform/foundation/RunLoop.h"

#include <memory>

namespace clipmule {

/// Looks for newer versions of the program and installs them.
class Updater {
public:
    Updater() = default;
    virtual ~Updater() = default;
    Q_DISABLE_COPY_MOVE(Updater)

    /// Called before an installation that the updater starts.
    std::function<void(Updater &)> onWillInstallUpdate;
    virtual void setAutomaticallyChecksForUpdates(bool automatically) = 0;
    /// Asks now, because the user wants to know; the answer is shown to the user.
    virtual void checkForUpdates() = 0;
};

class Bundle;

/// Keeps the program's package current through the system's package manager, which also knows
/// where newer versions come from and whether they are genuine.
///
/// What the user has asked for is answered in the message panel and may be installed at once, after
/// a question. What it finds by itself it only tells, once for each version in the life of the
/// process.
class PackageUpdater final : public Updater {
public:
    /// When the first check by itself is made: not while the session is starting.
    static constexpr RunLoop::Seconds firstAutomaticCheck{120};
    static constexpr RunLoop::Seconds automaticCheckInterval{24 * 60 * 60};

    /// Asks the user whether that version is to be installed, and passes the answer on, whenever it
    /// comes. While that question is open the same one, without a callback, brings it to the front.
    using Question = std::function<void(const QString &version, std::function<void(bool)> answer)>;

    /// Shows the user a short message.
    using Notice = std::function<void(const QString &text)>;

    /// Null when the bundle names no package ("PackageName" in its information dictionary).
    [[nodiscard]] static std::unique_ptr<PackageUpdater>
    updaterForBundle(const Bundle &bundle, std::unique_ptr<PackageUpdates> packages, Notice notice,
                     Question question);
    PackageUpdater(QString package, std::unique_ptr<PackageUpdates> packages, Notice notice,
                   Question question);
    ~PackageUpdater() override;

    void setAutomaticallyChecksForUpdates(bool automatically) override;
    void checkForUpdates() override;

private:
    void checkByItself();
    void find(PackageUpdates::Asker asker);
    void userGotAnswer(const PackageUpdates::Answer &answer);
    void foundByItself(const PackageUpdates::Answer &answer);
    void install(const PackageUpdates::Answer &update);

    QString _package;
    std::unique_ptr<PackageUpdates> _packages;
    Notice _say;
    Question _question;
    bool _automatic = false;
    RunLoop::Timer _nextCheck;
    enum class State { Idle, Finding, Asking, Installing };
    State _state = State::Idle;
    bool _userWaits = false;
    QString _lastVersionTold;
    // Expires with this object: questions and answers outlive it.
    std::shared_ptr<int> _alive = std::make_shared<int>();
};

} // namespace clipmule
