// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/ArchivedLook.h"
#include "platform/bundle/Bundle.h"
#include "platform/foundation/Result.h"
#include "platform/foundation/RunLoop.h"
#include "platform/preferences/DistributedNotifications.h"
#include "support/ZRKNotificationCenter.h"

namespace clipmule {

class PreferencesDatabase;

/// A value of a store has changed, here or in another process. Its object is the store; its user
/// info holds the key ("gUserDefaultsKey") and, unless the key was removed, the new value
/// ("gUserDefaultsValue") and the id of the writing store ("gUUIDDefaultsKey").
inline const QString ZRKUserDefaultsDidChangeNotification =
    QStringLiteral("ZRKUserDefaultsDidChangeNotification");

/// Preferences that several processes share: a domain of the user's preferences, by identifier.
/// Writes go to the database at once and are told to the other processes; reads are answered from
/// memory, which is kept current by what the others tell, while listening.
///
/// A value that cannot be written is logged by the database and still counts in this process, so
/// that the results of writing may be ignored.
class ZRKUserDefaults final : public Object, public std::enable_shared_from_this<ZRKUserDefaults> {
    // Only the factories can make a key, so only they can call the public constructor.
    struct Key {};

public:
    /// Where the identifier of the shared domain and the fallback values are looked for.
    struct Bundles {
        /// The bundle that this class is part of.
        Bundle containingClass;
        /// The application's bundle.
        Bundle main;
        /// All loaded bundles, in order.
        QList<Bundle> all;
        QList<Bundle> frameworks;
    };
    /// The services that stores use; all of them are owned by the composition root and outlive the
    /// stores.
    struct Environment {
        /// Without a database a store forgets.
        PreferencesDatabase *database = nullptr;
        /// Without it other processes are neither told nor heard.
        DistributedNotifications *distributedNotifications = nullptr;
        /// Where changes are announced in this process; none for the platform's default centre.
        ZRKNotificationCenter *localCenter = nullptr;
        /// Under which name changes are announced in this process.
        QString localName = ZRKUserDefaultsDidChangeNotification;
        /// Whose NSApplicationWillTerminateNotification, on the platform's default centre, makes
        /// the stores write to disk; none for anybody's. Kept by every store: where the
        /// application owns stores, unowned(&application).
        std::shared_ptr<const Object> application;
        /// Null for the bundles of the process.
        std::shared_ptr<const Bundles> bundles;
    };

    /// How long after the last write it is flushed to the disk.
    static constexpr RunLoop::Seconds synchronizeDelay{5};
    /// How long other processes' changes are gathered.
    static constexpr RunLoop::Seconds remoteChangeDelay{0.05};

    /// Sets the environment of stores made from now on. The shared stores made so far are dropped.
    static void setEnvironment(Environment environment);

    /// The store of the domain that a bundle names under "ZendrikSharedPreferencesIdentifier": the
    /// bundle of this class, the main one, or the first among the loaded ones that has it. Looked
    /// up once. Null when no bundle names one, which is an error of the installation.
    [[nodiscard]] static std::shared_ptr<ZRKUserDefaults> standardUserDefaults();
    /// The shared store of an identifier, kept by the process. Null for an empty one.
    [[nodiscard]] static std::shared_ptr<ZRKUserDefaults>
    standardUserDefaultsForIdentifier(const QString &identifier);
    /// A store of the caller's own.
    [[nodiscard]] static std::shared_ptr<ZRKUserDefaults>
    initWithIdentifier(const QString &identifier);
    /// The same in another environment: how tests run two processes side by side.
    [[nodiscard]] static std::shared_ptr<ZRKUserDefaults>
    initWithIdentifier(const QString &identifier, const Environment &environment);
    /// A store of the caller's own without fallback values: those in the bundles' "Defaults" files
    /// belong to the shared domain.
    [[nodiscard]] static std::shared_ptr<ZRKUserDefaults>
    initWithoutFallbacks(const QString &identifier, Environment environment);
    ZRKUserDefaults(Key, QString identifier, Environment environment);
    ~ZRKUserDefaults() override;

    [[nodiscard]] const QString &identifier() const { return _identifier; }

    /// Reads the domain and the bundles' "Defaults" files anew; registered defaults are dropped.
    void reset();
    /// Hears other processes' changes from now on, and reads the domain again when some may not
    /// have been heard. Starting twice does nothing.
    void listenForChanges();
    void stopListening();

    /// The domain's value, else the registered one, else nothing.
    [[nodiscard]] std::optional<PropertyList> objectForKey(const QString &key) const;
    /// The registered value, whatever the domain holds.
    [[nodiscard]] std::optional<PropertyList> registeredObjectForKey(const QString &key) const;
    // The value that is there, of whatever kind.
    [[nodiscard]] auto stringForKey(const QString &key) const { return objectForKey(key); }
    [[nodiscard]] auto arrayForKey(const QString &key) const { return objectForKey(key); }
    [[nodiscard]] auto dictionaryForKey(const QString &key) const { return objectForKey(key); }
    [[nodiscard]] auto dataForKey(const QString &key) const { return objectForKey(key); }
    [[nodiscard]] auto stringArrayForKey(const QString &key) const { return objectForKey(key); }
    // The value of a number or of the beginning of a string; 0 or false for anything else and for
    // nothing.
    [[nodiscard]] qint32 integerForKey(const QString &key) const;
    /// What integerForKey() makes of a value.
    [[nodiscard]] static qint32 integer32(const PropertyList &value);
    [[nodiscard]] float floatForKey(const QString &key) const;
    [[nodiscard]] bool boolForKey(const QString &key) const;
    /// The colour in an old-style archive, a dictionary ("Red", "Green", "Blue", "Alpha") or a
    /// string of four numbers, these between 0 and 1; nothing for anything else.
    [[nodiscard]] std::optional<ArchivedColor> colorForKey(const QString &key) const;
    /// The font in an old-style archive; nothing for anything else.
    [[nodiscard]] std::optional<ArchivedFont> fontForKey(const QString &key) const;
    /// The selector of the stored name, which has no action; an empty one when nothing is stored.
    [[nodiscard]] Selector selectorForKey(const QString &key) const;

    /// Writes, and announces the change here at once and to the other processes. No value removes
    /// the key. What could not be written holds in this process all the same, and is in the log:
    /// the result is for who tells the user, or must not go on. Those below have none.
    Result<void> setObjectForKey(const std::optional<PropertyList> &value, const QString &key);
    void removeObjectForKey(const QString &key);
    /// Keeps the value as a signed number of 32 bits; wider values are cut.
    void setIntegerForKey(qint64 value, const QString &key);
    void setFloatForKey(float value, const QString &key);
    void setBoolForKey(bool value, const QString &key);
    // These store old-style archives.
    void setColorForKey(const ArchivedColor &color, const QString &key);
    void setFontForKey(const ArchivedFont &font, const QString &key);
    void setSelectorForKey(const Selector &selector, const QString &key);

    /// Adds fallback values, replacing those of equal keys.
    void registerDefaults(const PropertyList::Dictionary &defaults);
    /// The registered defaults with the domain's values laid over them.
    [[nodiscard]] PropertyList::Dictionary dictionaryRepresentation() const;

    /// Makes what was written survive a power failure.
    Result<void> synchronize();
    [[nodiscard]] QString description() const override;

private:
    [[nodiscard]] static QString findSharedIdentifier(const Bundles &bundles);
    [[nodiscard]] static Bundle _mainBundle(const Bundles &bundles);
    [[nodiscard]] ZRKNotificationCenter &localCenter() const;
    [[nodiscard]] QString distributedName() const;
    void addDefaultsOf(const Bundle &bundle, const QString &localisation);
    void _synchronizeIfNeeded();
    void _defaultDidChange(const PropertyList::Dictionary &userInfo);
    /// Takes what the database holds, and announces what is different.
    void readAgain();
    /// A change's user info with the value that the database holds.
    [[nodiscard]] PropertyList::Dictionary asStored(PropertyList::Dictionary userInfo,
                                                    const QString &key) const;
    void _postLocalNotification(const PropertyList::Dictionary &userInfo);

    QString _uuid;
    QString _identifier;
    PropertyList::Dictionary _defaults;
    PropertyList::Dictionary _registeredDefaults;
    bool _listening = false;
    bool _needsSync = false;

    Environment _environment;
    std::unique_ptr<DistributedNotifications::Observation> _observation;
    RunLoop::Timer _pendingSynchronize;
    RunLoop::Timer _pendingNotification;
};

} // namespace clipmule
