// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QStringList>

namespace clipmule {

class ApplicationDefaults;
class ZRKUserDefaults;

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
    std::optional<PropertyList> fallback;
    /// The words of a choice; empty for every other kind.
    QStringList words;
};

[[nodiscard]] const QList<Setting> &all();
[[nodiscard]] const Setting &setting(Key key);
/// The setting of that name; null when there is no such setting.
[[nodiscard]] const Setting *find(const QString &name);
[[nodiscard]] QString nameOf(Key key);
/// "shared", "agent" or "stats".
[[nodiscard]] QString nameOf(Domain domain);

// Reading. Each takes the store of the key's domain. Numbers and texts convert as they do on the
// platform where that makes sense: 0 and "NO" are false, "12" is a number.

[[nodiscard]] bool truth(const ZRKUserDefaults &store, Key key);
[[nodiscard]] bool truth(const ApplicationDefaults &store, Key key);
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

/// Why the setting cannot hold the value, as one sentence for people; empty when it can.
[[nodiscard]] QString refusal(const Setting &setting, const PropertyList &value);
/// The value that a word on a command line means: "yes", "on" and "1" are true for a truth; still
/// to be asked about with refusal(). Nothing when the setting cannot be told in this word.
[[nodiscard]] std::optional<PropertyList> valueFromWord(const Setting &setting,
                                                        const QString &word);
/// What the setting holds, for people: "true or false".
[[nodiscard]] QString describeKind(const Setting &setting);

} // namespace Settings

} // namespace clipmule
