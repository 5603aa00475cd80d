// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/PackageUpdater.h"

#include "platform/bundle/Bundle.h"
#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"

#include <QCoreApplication>

#include <utility>

namespace clipmule {

namespace {

using Outcome = PackageUpdates::Answer::Outcome;

QString reason(const PackageUpdates::Answer &answer) {
    if (!answer.error.isEmpty())
        return answer.error;
    return QCoreApplication::translate("Clipmule", "no reason was given");
}

} // namespace

std::unique_ptr<PackageUpdater>
PackageUpdater::updaterForBundle(const Bundle &bundle, std::unique_ptr<PackageUpdates> packages,
                                 Notice notice, Question question) {
    const QString package = bundle.infoText(QStringLiteral("PackageName"));
    if (package.isEmpty())
        return nullptr;
    return std::make_unique<PackageUpdater>(package, std::move(packages), std::move(notice),
                                            std::move(question));
}

PackageUpdater::PackageUpdater(QString package, std::unique_ptr<PackageUpdates> packages,
                               Notice notice, Question question)
    : _package(std::move(package))
    , _packages(std::move(packages))
    , _say(std::move(notice))
    , _question(std::move(question)) {}

PackageUpdater::~PackageUpdater() = default;

void PackageUpdater::setAutomaticallyChecksForUpdates(bool automatically) {
    // Told again with every change of any setting: only a change of this one counts.
    if (std::exchange(_automatic, automatically) == automatically)
        return;
    _nextCheck.cancel();
    if (automatically)
        _nextCheck =
            RunLoop::current().performAfter(firstAutomaticCheck, [this] { checkByItself(); });
}

void PackageUpdater::checkByItself() {
    _nextCheck =
        RunLoop::current().performAfter(automaticCheckInterval, [this] { checkByItself(); });
    if (_state == State::Idle)
        find(PackageUpdates::Asker::Nobody);
}

void PackageUpdater::checkForUpdates() {
    if (_state == State::Installing)
        return;
    if (_state == State::Asking) {
        // The open question may be behind other windows.
        _question(_lastVersionTold, {});
        return;
    }
    _userWaits = true;
    _say(QCoreApplication::translate("Clipmule", "Checking for updates…"));
    if (_state == State::Idle)
        find(PackageUpdates::Asker::User);
}

void PackageUpdater::find(PackageUpdates::Asker asker) {
    _state = State::Finding;
    _packages->findUpdate(
        _package, asker,
        [this, asker, alive = std::weak_ptr(_alive)](const PackageUpdates::Answer &answer) {
            if (alive.expired())
                return;
            _state = State::Idle;
            // The user asked while an automatic check ran, and gets freshly fetched lists as well.
            if (_userWaits && asker == PackageUpdates::Asker::Nobody) {
                find(PackageUpdates::Asker::User);
                return;
            }
            if (std::exchange(_userWaits, false))
                userGotAnswer(answer);
            else
                foundByItself(answer);
        });
}

void PackageUpdater::foundByItself(const PackageUpdates::Answer &answer) {
    if (answer.outcome == Outcome::Failed)
        qCInfo(logApp).noquote() << "no answer about updates:" << answer.error;
    if (answer.outcome != Outcome::Available || answer.version == _lastVersionTold)
        return;
    _lastVersionTold = answer.version;
    _say(QCoreApplication::translate(
             "Clipmule",
             "Clipmule Sync %1 is available. “Check for Updates…” in the menu installs it.")
             .arg(answer.version));
}

void PackageUpdater::userGotAnswer(const PackageUpdates::Answer &answer) {
    switch (answer.outcome) {
    case Outcome::UpToDate:
        _say(QCoreApplication::translate("Clipmule", "Clipmule Sync is up to date."));
        return;
    case Outcome::NotInstalled:
        _say(QCoreApplication::translate(
            "Clipmule",
            "Clipmule Sync was not installed as a package. Update it the way it was installed."));
        return;
    case Outcome::NoService:
        _say(QCoreApplication::translate("Clipmule",
                                         "Cannot check for updates: PackageKit is not available."));
        return;
    case Outcome::Available:
        _lastVersionTold = answer.version;
        _state = State::Asking;
        _question(answer.version, [this, answer, alive = std::weak_ptr(_alive)](bool wanted) {
            if (alive.expired())
                return;
            _state = State::Idle;
            if (wanted)
                install(answer);
        });
        return;
    default:
        _say(QCoreApplication::translate("Clipmule", "Could not check for updates: %1")
                 .arg(reason(answer)));
    }
}

void PackageUpdater::install(const PackageUpdates::Answer &update) {
    _state = State::Installing;
    callCopyOf(onWillInstallUpdate, *this);
    _say(QCoreApplication::translate("Clipmule", "Installing Clipmule Sync %1…")
             .arg(update.version));
    _packages->installUpdate(update.identifier, [this, alive = std::weak_ptr(_alive)](
                                                    const PackageUpdates::Answer &answer) {
        if (alive.expired())
            return;
        _state = State::Idle;
        _userWaits = false;
        if (answer.outcome == Outcome::Installed)
            _say(QCoreApplication::translate(
                     "Clipmule", "Clipmule Sync %1 is installed. It is used from the next start.")
                     .arg(answer.version));
        else
            _say(QCoreApplication::translate("Clipmule", "The update could not be installed: %1")
                     .arg(reason(answer)));
    });
}

} // namespace clipmule
