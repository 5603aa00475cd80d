// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "preferences/SettingsStores.h"
#include "support/Settings.h"

namespace clipmule {

/// The switches and the counters that the window shows, wherever they are kept, and whoever changes
/// them.
class SyncSettings final : public Object {
public:
    enum class Switch {
        SyncEnabled,      ///< whether the agent connects at all
        ShowStatusItem,   ///< its item in the status bar
        AutomaticUpdates, ///< whether it looks for updates by itself
    };
    struct Statistics {
        quint64 bytesSent = 0;
        quint64 bytesReceived = 0;
        qint32 textItems = 0;
        qint32 imageItems = 0;
        friend bool operator==(const Statistics &, const Statistics &) = default;
    };

    /// The database outlives this.
    SyncSettings(PreferencesDatabase &database, SettingsStores stores);
    ~SyncSettings() override;

    /// Hears of changes from now on.
    void start();
    [[nodiscard]] bool isOn(Switch which) const;
    /// False when the switch could not be written; it is as it was then.
    bool set(Switch which, bool on);
    /// The paste mode of all phones that have none of their own.
    [[nodiscard]] PasteMode pasteMode() const;
    /// False when the mode could not be written; it is as it was then.
    bool setPasteMode(PasteMode mode);
    /// Why the last switch or mode could not be written, for the user; empty when that is not
    /// known.
    [[nodiscard]] QString failure() const { return _failure; }
    [[nodiscard]] Statistics statistics() const;

    /// Called from the run loop when something is different, once for a burst of changes.
    std::function<void()> onChange;

private:
    void settingsDidChange();
    bool write(const std::shared_ptr<ZRKUserDefaults> &store, const QString &key,
               const PropertyList &value);

    PreferencesDatabase &_database;
    SettingsStores _stores;
    QString _failure;
    RunLoop::Timer _change;
};

} // namespace clipmule
