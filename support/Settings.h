// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "support/ZRKUserDefaults.h"

#include <QStringList>

namespace clipmule {

/// The program, as the session knows it: the domain of the agent's own settings, its name on the
/// bus and that of its desktop file.
inline const QString applicationIdentifier = QStringLiteral("com.zendrik.ClipmuleSync");

/// What the agent does with a clip that a phone sent.
enum class PasteMode {
    Paste,     ///< puts it on the clipboard and pastes it
    Clipboard, ///< only puts it on the clipboard
};

/// Every setting of the program: where it is kept, what it may hold, and what it is when nobody set
/// it. Agent, window and commands read settings through this and nothing else.
///
/// Files, the bus and the command line may hold anything under any key. A stored value of a wrong
/// kind reads as the default, which is said in the log once until the value is a right one again;
/// reading never throws.
namespace Settings {

enum class Domain {
    Shared,     ///< what the agent and the preferences share
    Agent,      ///< the agent's own
    Statistics, ///< its counters
};

enum class Kind {
    Truth,     ///< true or false
    Choice,    ///< one of some words
    Count,     ///< an unsigned 64-bit number
    Count32,   ///< a signed 32-bit number
    PhoneList, ///< see RegisteredPhones
};

enum class Key {
    SyncEnabled,
    WatchClipboardByTimer,
    ServerServices,
    AutoUpdateEnabled,
    ShowStatus,
    PasteMode,
    DataSent,
    DataReceived,
    ImageItems,
    TextItems,
};

struct Setting {
    Key key = Key::SyncEnabled;
    QString name;
    Domain domain = Domain::Shared;
    Kind kind = Kind::Truth;
    /// The value when neither the domain nor its registered defaults hold one; nothing when the
    /// setting then has no value.
    std::optional<PropertyList> fallback = {};
    /// The words of a choice; empty for every other kind.
    QStringList words = {};
};

[[nodiscard]] const QList<Setting> &all();
[[nodiscard]] const Setting &setting(Key key);
/// The setting of that name; null when there is no such setting.
[[nodiscard]] const Setting *find(const QString &name);
[[nodiscard]] QString nameOf(Key key);
/// "shared", "agent" or "stats".
[[nodiscard]] QString nameOf(Domain domain);
[[nodiscard]] std::optional<Domain> domainNamed(const QString &name);

/// The agent's own settings, as the agent opens them: its changes and those of other programs are
/// announced as NSUserDefaultsDidChangeNotification and under no other name, so that who observes
/// the shared settings as well is told of each once.
[[nodiscard]] std::shared_ptr<ZRKUserDefaults>
openForAgent(ZRKUserDefaults::Environment environment);

// Reading. Each takes the store of the key's domain. Numbers and texts convert as they do on the
// platform where that makes sense: 0 and "NO" are false, "12" is a number.

[[nodiscard]] bool truth(const ZRKUserDefaults &store, Key key);
/// The value of a Count; damage is 0.
[[nodiscard]] quint64 count(const ZRKUserDefaults &store, Key key);
/// The value of a Count32: its low 32 bits, which wrap to negative numbers; damage is 0.
[[nodiscard]] qint32 count32(const ZRKUserDefaults &store, Key key);
[[nodiscard]] PasteMode pasteMode(const ZRKUserDefaults &store);

/// For RegisteredPhones, which reads its setting itself: says in the log that what is stored is of
/// no use, once until it is right again. What is stored may be missing only when it is right.
void reportKind(const Setting &setting, const std::optional<PropertyList> &stored, bool isRight);

/// The words "paste" and "clipboard".
[[nodiscard]] QString wordFor(PasteMode mode);
/// The mode of a stored word; nothing for any other value.
[[nodiscard]] std::optional<PasteMode> pasteModeFrom(const PropertyList &value);

// Writing, for values that somebody typed.

/// Whether the setting can hold the value; the failure says why not, in one sentence for people.
[[nodiscard]] Result<void> check(const Setting &setting, const PropertyList &value);
/// The value that a word on a command line means: "yes", "on" and "1" are true for a truth; still
/// to be looked at by check(). Nothing when the setting cannot be told in this word.
[[nodiscard]] std::optional<PropertyList> valueFromWord(const Setting &setting,
                                                        const QString &word);
/// What the setting holds, for people: "true or false".
[[nodiscard]] QString describeKind(const Setting &setting);

} // namespace Settings

/// The stores of all settings, as the window and the commands see and change them. Exists once in a
/// process, whose shared store is this one's.
class SettingsStores final : public Object {
public:
    using Domain = Settings::Domain;
    using Key = Settings::Key;
    struct Statistics {
        quint64 bytesSent = 0;
        quint64 bytesReceived = 0;
        qint32 textItems = 0;
        qint32 imageItems = 0;
        friend bool operator==(const Statistics &, const Statistics &) = default;
    };

    /// Makes the environment that of the process, for as long as this exists. Null when the
    /// installation names no shared domain.
    [[nodiscard]] static std::unique_ptr<SettingsStores>
    open(const ZRKUserDefaults::Environment &environment);
    /// For open().
    SettingsStores(std::shared_ptr<ZRKUserDefaults> shared,
                   const ZRKUserDefaults::Environment &environment);
    ~SettingsStores() override;

    /// Follows what other programs change, from now on.
    void start();
    /// Reads all settings anew: without a session bus nobody tells of changes.
    void reload();

    [[nodiscard]] ZRKUserDefaults &of(Domain domain) const { return *_stores.at(domain); }
    /// What the preferences program keeps for itself.
    [[nodiscard]] ZRKUserDefaults &own() const { return *_own; }

    [[nodiscard]] bool isOn(Key key) const;
    /// The paste mode of all phones that have none of their own.
    [[nodiscard]] PasteMode pasteMode() const;
    [[nodiscard]] Statistics statistics() const;
    /// What is stored under the key, of whatever kind.
    [[nodiscard]] std::optional<PropertyList> value(Key key) const;
    /// After a failure the setting is as it was.
    [[nodiscard]] Result<void> set(Key key, const PropertyList &value);
    /// Such a failure as a sentence for the user.
    [[nodiscard]] static QString notWritten(const Failure &failure);

    /// Called from the run loop when something is different, once for a burst of changes.
    std::function<void()> onChange;

private:
    void settingsDidChange();

    std::map<Domain, std::shared_ptr<ZRKUserDefaults>> _stores;
    std::shared_ptr<ZRKUserDefaults> _own;
    RunLoop::Timer _change;
};

} // namespace clipmule
