// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/support/TestStores.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

namespace {

const QString domain = QStringLiteral("com.zendrik.Test");
const QString key = QStringLiteral("showStatus");

} // namespace

// What stores take from the bundles: fallback values, and the identifier of the shared domain.
class UserDefaultsBundlesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _home = std::make_unique<QTemporaryDir>();
        _session = std::make_unique<kit::UserSession>();
        _process = std::make_unique<kit::Process>(*_session);
    }

    void end() override { ZRKUserDefaults::setEnvironment({}); }

private Q_SLOTS:
    // Fallback values.

    void theDomainsValueStandsBeforeTheFiles() {
        _process->bundles->all = {bundle(u"agent", u"", defaults(u"showStatus", u"file"))};
        QVERIFY(_session->database.setValue(domain, key, QStringLiteral("domain")));
        const auto store = _process->open(domain);
        QCOMPARE(text(*store), QStringLiteral("domain"));
        store->removeObjectForKey(key);
        QCOMPARE(text(*store), QStringLiteral("file"));
    }

    void laterFilesWin() {
        const Bundle first = bundle(u"first", u"", defaults(u"showStatus", u"first"));
        const Bundle second = bundle(u"second", u"", defaults(u"showStatus", u"second"));
        const Bundle framework = bundle(u"a.framework", u"", defaults(u"showStatus", u"framework"));
        _process->bundles->all = {first, second};
        QCOMPARE(text(*_process->open(domain)), QStringLiteral("second"));
        _process->bundles->all = {second, first};
        QCOMPARE(text(*_process->open(domain)), QStringLiteral("first"));
        _process->bundles->frameworks = {framework};
        QCOMPARE(text(*_process->open(domain)), QStringLiteral("framework"));
    }

    void theUnlocalisedFileComesAfterTheEnglishOne() {
        const Bundle both = bundle(u"both", u"", defaults(u"showStatus", u"any"));
        add(both, u"/English.lproj/Defaults.xml", defaults(u"showStatus", u"English"));
        _process->bundles->all = {both};
        QCOMPARE(text(*_process->open(domain)), QStringLiteral("any"));
        const Bundle english = bundle(u"english", u"", {});
        add(english, u"/English.lproj/Defaults.xml", defaults(u"showStatus", u"English"));
        _process->bundles->all = {english};
        QCOMPARE(text(*_process->open(domain)), QStringLiteral("English"));
        const Bundle german = bundle(u"german", u"", {});
        add(german, u"/German.lproj/Defaults.xml", defaults(u"showStatus", u"German"));
        _process->bundles->all = {german};
        QCOMPARE(text(*_process->open(domain)), QString());
    }

    void filesAddToEachOther() {
        _process->bundles->all = {bundle(u"one", u"", defaults(u"showStatus", u"one")),
                                  bundle(u"two", u"", defaults(u"autoUpdateEnabled", u"two"))};
        const auto store = _process->open(domain);
        const PropertyList::Dictionary values{
            {key, QStringLiteral("one")},
            {QStringLiteral("autoUpdateEnabled"), QStringLiteral("two")}};
        QCOMPARE(store->dictionaryRepresentation(), values);
    }

    void aDefaultsFileThatIsNoDictionaryGivesNothing() {
        _process->bundles->all = {bundle(u"agent", u"", "<plist><array/></plist>")};
        QVERIFY(_process->open(domain)->dictionaryRepresentation().isEmpty());
    }

    void registeredDefaultsReplaceTheFilesUntilAReset() {
        _process->bundles->all = {bundle(u"agent", u"", defaults(u"showStatus", u"file"))};
        const auto store = _process->open(domain);
        store->registerDefaults({{key, QStringLiteral("registered")}});
        QCOMPARE(text(*store), QStringLiteral("registered"));
        QVERIFY(_session->database.copyMultiple(domain).isEmpty());
        QCOMPARE(_process->changes.notifications.size(), 0);
        store->registerDefaults({{key, QStringLiteral("again")}});
        QCOMPARE(text(*store), QStringLiteral("again"));
        store->registerDefaults({{QStringLiteral("only registered"), 1}});
        store->reset();
        QCOMPARE(text(*store), QStringLiteral("file"));
        // Also what no file names.
        QCOMPARE(store->objectForKey(QStringLiteral("only registered")), std::nullopt);
    }

    void theRepresentationLaysTheDomainOverTheDefaults() {
        const auto store = _process->open(domain);
        store->registerDefaults(
            {{key, QStringLiteral("registered")}, {QStringLiteral("other"), 1}});
        QVERIFY(store->setObjectForKey(QStringLiteral("domain"), key));
        const PropertyList::Dictionary values{{key, QStringLiteral("domain")},
                                              {QStringLiteral("other"), 1}};
        QCOMPARE(store->dictionaryRepresentation(), values);
    }

    // The identifier of the shared domain.

    void theClassesOwnBundleNamesTheDomain() {
        _process->bundles->containingClass = bundle(u"own", u"com.zendrik.own", {});
        _process->bundles->main = bundle(u"main", u"com.zendrik.main", {});
        _process->bundles->all = {bundle(u"other", u"com.zendrik.other", {})};
        QCOMPARE(standardIdentifier(), QStringLiteral("com.zendrik.own"));
    }

    void theMainBundleStandsInForAFramework() {
        _process->bundles->containingClass = bundle(u"support.framework", u"", {});
        _process->bundles->main = bundle(u"main", u"com.zendrik.main", {});
        _process->bundles->all = {bundle(u"other", u"com.zendrik.other", {})};
        QCOMPARE(standardIdentifier(), QStringLiteral("com.zendrik.main"));
    }

    void theMainBundleIsNotAskedForAnotherKindOfBundle() {
        _process->bundles->containingClass = bundle(u"panel.prefPane", u"", {});
        _process->bundles->main = bundle(u"host", u"com.apple.host", {});
        _process->bundles->all = {bundle(u"first", u"com.zendrik.first", {})};
        QCOMPARE(standardIdentifier(), QStringLiteral("com.zendrik.first"));
    }

    void theFirstLoadedBundleWithAnIdentifierCounts() {
        const Bundle nameless = bundle(u"nameless", u"", {});
        const Bundle second = bundle(u"second", u"com.zendrik.second", {});
        const Bundle third = bundle(u"third", u"com.zendrik.third", {});
        _process->bundles->all = {nameless, second};
        _process->bundles->frameworks = {third};
        QCOMPARE(standardIdentifier(), QStringLiteral("com.zendrik.second"));
        _process->bundles->all = {nameless};
        QCOMPARE(standardIdentifier(), QStringLiteral("com.zendrik.third"));
    }

    void withoutAnIdentifierThereIsNoSharedStore() {
        _process->bundles->all = {bundle(u"nameless", u"", {})};
        ZRKUserDefaults::setEnvironment(_process->environment);
        QVERIFY(!ZRKUserDefaults::standardUserDefaults());
        QVERIFY(!ZRKUserDefaults::standardUserDefaultsForIdentifier(QString()));
    }

    void theIdentifierIsLookedUpOnce() {
        _process->bundles->containingClass = bundle(u"own", u"com.zendrik.own", {});
        ZRKUserDefaults::setEnvironment(_process->environment);
        const auto store = ZRKUserDefaults::standardUserDefaults();
        _process->bundles->containingClass = bundle(u"other", u"com.zendrik.other", {});
        QVERIFY(ZRKUserDefaults::standardUserDefaults() == store);
        QVERIFY(ZRKUserDefaults::standardUserDefaultsForIdentifier(
                    QStringLiteral("com.zendrik.own")) == store);
    }

    // The table of shared stores.

    void oneStoreAnIdentifierExceptPrivateOnes() {
        ZRKUserDefaults::setEnvironment(_process->environment);
        const auto shared = ZRKUserDefaults::standardUserDefaultsForIdentifier(domain);
        QVERIFY(shared == ZRKUserDefaults::standardUserDefaultsForIdentifier(domain));
        QVERIFY(shared !=
                ZRKUserDefaults::standardUserDefaultsForIdentifier(domain + QStringLiteral(".b")));
        QVERIFY(shared != ZRKUserDefaults::initWithIdentifier(domain));
        QVERIFY(shared->setObjectForKey(true, key));
        QCOMPARE(_session->database.copyMultiple(domain).value(key), PropertyList(true));
    }

    void theTableKeepsTheStores() {
        ZRKUserDefaults::setEnvironment(_process->environment);
        std::weak_ptr<ZRKUserDefaults> shared =
            ZRKUserDefaults::standardUserDefaultsForIdentifier(domain);
        QVERIFY(!shared.expired());
        const std::weak_ptr<ZRKUserDefaults> own = ZRKUserDefaults::initWithIdentifier(domain);
        QVERIFY(own.expired());
        ZRKUserDefaults::setEnvironment({});
        QVERIFY(shared.expired());
    }

    // For the log.

    void storesDescribeThemselves() {
        const auto store = _process->open(domain);
        QVERIFY(store->setObjectForKey(true, key));
        store->registerDefaults({{QStringLiteral("serverServices"), QStringLiteral("none")}});
        QCOMPARE(store->description(),
                 store->Object::description() +
                     QStringLiteral(" com.zendrik.Test defaults = {showStatus: true}, "
                                    "registeredDefaults = {serverServices: \"none\"}"));
    }

private:
    QString text(const ZRKUserDefaults &store) const {
        const auto value = store.objectForKey(key);
        return value ? value->string() : QString();
    }
    QString standardIdentifier() {
        ZRKUserDefaults::setEnvironment(_process->environment);
        const auto store = ZRKUserDefaults::standardUserDefaults();
        return store ? store->identifier() : QString();
    }
    static QByteArray defaults(QStringView name, QStringView value) {
        return "<plist><dict><key>" + name.toUtf8() + "</key><string>" + value.toUtf8() +
               "</string></dict></plist>";
    }
    static void add(const Bundle &bundle, QStringView path, const QByteArray &contents) {
        const QString name = bundle.path() + path.toString();
        QVERIFY(QDir().mkpath(QFileInfo(name).path()));
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(contents), contents.size());
    }
    /// With an identifier of the shared domain and a "Defaults" file, where they are not empty.
    Bundle bundle(QStringView name, QStringView identifier, const QByteArray &defaultsFile) {
        Bundle made(_home->filePath(name.toString()));
        if (!identifier.isEmpty())
            add(made, u"/Info.plist", defaults(u"ZendrikSharedPreferencesIdentifier", identifier));
        if (!defaultsFile.isEmpty())
            add(made, u"/Defaults.xml", defaultsFile);
        return made;
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<QTemporaryDir> _home;
    std::unique_ptr<kit::UserSession> _session;
    std::unique_ptr<kit::Process> _process;
};

QTEST_GUILESS_MAIN(UserDefaultsBundlesTest)
#include "tst_userdefaults_bundles.moc"
