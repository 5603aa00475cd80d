// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/pasteboard/RtfText.h"
#include "platform/pasteboard/backends/null/NullPasteboard.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/FakePasteboard.h"
#include "tests/pasteboard/X11Desktop.h"
#include "tests/pasteboard/X11TestOwner.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::PasteboardType;
using clipmule::tests::X11Desktop;
using clipmule::tests::X11TestOwner;

namespace {

// One backend with another application beside it.
class Backend {
public:
    Backend() = default;
    virtual ~Backend() = default;
    Backend(const Backend &) = delete;
    Backend &operator=(const Backend &) = delete;
    virtual Pasteboard &pasteboard() = 0;
    /// The other application copies a text; on return it is known to the backend.
    virtual void copy(const QByteArray &utf8) = 0;
    /// The same while nobody watches.
    virtual void copyUnwatched(const QByteArray &utf8) { copy(utf8); }
    virtual void quitOther() = 0;
};

class FakeBackend final : public Backend {
public:
    FakeBackend() { _pasteboard.setWatching(true); }
    Pasteboard &pasteboard() override { return _pasteboard; }
    void copy(const QByteArray &utf8) override { _pasteboard.copyText(QString::fromUtf8(utf8)); }
    void quitOther() override { _pasteboard.removeOwner(); }

private:
    FakePasteboard _pasteboard;
};

class X11Backend final : public Backend {
public:
    Pasteboard &pasteboard() override { return *_desktop.pasteboard; }
    void copy(const QByteArray &utf8) override {
        _other.own({{"UTF8_STRING", utf8}});
        if (!_desktop.fetchEnds())
            qWarning("the copied text did not arrive");
    }
    void copyUnwatched(const QByteArray &utf8) override {
        const qint64 before = _desktop.pasteboard->changeCount();
        _other.own({{"UTF8_STRING", utf8}});
        if (!tests::await([&] { return _desktop.pasteboard->changeCount() > before; }))
            qWarning("the copied text is not known of");
    }
    void quitOther() override {
        _other.quit();
        _desktop.settle();
    }

private:
    X11Desktop _desktop;
    X11TestOwner _other;
};

std::unique_ptr<Backend> makeBackend(const QString &name) {
    if (name == u"x11")
        return std::make_unique<X11Backend>();
    return std::make_unique<FakeBackend>();
}

void backends() {
    QTest::addColumn<QString>("backend");
    QTest::newRow("fake") << QStringLiteral("fake");
    QTest::newRow("x11") << QStringLiteral("x11");
}

} // namespace

// What every clipboard does, whatever carries it.
class PasteboardContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void copyMovesTheCountAndIsRead_data() { backends(); }
    void copyMovesTheCountAndIsRead() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        const qint64 before = pasteboard.changeCount();
        desktop->copy("caf\xc3\xa9");
        QCOMPARE(pasteboard.changeCount(), before + 1);
        QCOMPARE(pasteboard.types(), QStringList{NSStringPboardType});
        QCOMPARE(pasteboard.dataForType(NSStringPboardType), QByteArray("caf\xc3\xa9"));
        QCOMPARE(pasteboard.stringForType(NSStringPboardType), QStringLiteral("café"));
        QVERIFY(!pasteboard.dataForType(NSTIFFPboardType));
        QVERIFY(!pasteboard.stringForType(NSTIFFPboardType));
        QVERIFY(!pasteboard.propertyListForType(publicUrlName));
        QVERIFY(!pasteboard.url());
    }

    void nobodyWatchesAtFirst_data() { backends(); }
    void nobodyWatchesAtFirst() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        desktop->copy("watched");
        pasteboard.setWatching(false);
        QCOMPARE(pasteboard.types(), QStringList());
        const qint64 before = pasteboard.changeCount();
        desktop->copyUnwatched("unwatched");
        QCOMPARE(pasteboard.changeCount(), before + 1);
        QCOMPARE(pasteboard.types(), QStringList());
        pasteboard.setWatching(true);
        QCOMPARE(pasteboard.changeCount(), before + 1);
        desktop->copy("watched again");
        QCOMPARE(pasteboard.changeCount(), before + 2);
        QCOMPARE(pasteboard.stringForType(NSStringPboardType), QStringLiteral("watched again"));
        pasteboard.setWatching(true);
        QCOMPARE(pasteboard.stringForType(NSStringPboardType), QStringLiteral("watched again"));
        // What is ours is read by others, watched or not.
        pasteboard.declareTypes({});
        pasteboard.setStringForType(QStringLiteral("ours"), NSStringPboardType);
        pasteboard.commit();
        pasteboard.setWatching(false);
        QCOMPARE(pasteboard.stringForType(NSStringPboardType), QStringLiteral("ours"));
    }

    void ownerThatQuitsLeavesNothing_data() { backends(); }
    void ownerThatQuitsLeavesNothing() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        desktop->copy("x");
        const qint64 before = desktop->pasteboard().changeCount();
        desktop->quitOther();
        QCOMPARE(desktop->pasteboard().types(), QStringList());
        QCOMPARE(desktop->pasteboard().changeCount(), before);
    }

    void writingIsStagedUntilTheCommit_data() { backends(); }
    void writingIsStagedUntilTheCommit() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        desktop->copy("theirs");
        const qint64 before = pasteboard.changeCount();

        pasteboard.declareTypes({publicHtml});
        QCOMPARE(pasteboard.types(), QStringList{publicHtml});
        QVERIFY(!pasteboard.dataForType(publicHtml));
        pasteboard.addTypes({NSStringPboardType, publicHtml});
        QCOMPARE(pasteboard.types(), (QStringList{publicHtml, NSStringPboardType}));
        pasteboard.setStringForType(QStringLiteral("ours"), NSStringPboardType);
        pasteboard.setDataForType("<b>", publicHtml);
        QCOMPARE(pasteboard.stringForType(NSStringPboardType), QStringLiteral("ours"));
        QCOMPARE(pasteboard.changeCount(), before);

        pasteboard.commit();
        QCOMPARE(pasteboard.changeCount(), before + 1);
        QCOMPARE(pasteboard.types(), (QStringList{publicHtml, NSStringPboardType}));
        QCOMPARE(pasteboard.dataForType(publicHtml), QByteArray("<b>"));
    }

    void declaringReplacesWhatWasStaged_data() { backends(); }
    void declaringReplacesWhatWasStaged() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        pasteboard.declareTypes({});
        pasteboard.setDataForType("x", publicHtml);
        pasteboard.declareTypes({});
        QCOMPARE(pasteboard.types(), QStringList());
    }

    void setReplacesWhatWasSet_data() { backends(); }
    void setReplacesWhatWasSet() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        pasteboard.declareTypes({});
        pasteboard.setStringForType(QStringLiteral("one"), NSStringPboardType);
        pasteboard.setStringForType(QStringLiteral("two"), NSStringPboardType);
        pasteboard.commit();
        QCOMPARE(pasteboard.types(), QStringList{NSStringPboardType});
        QCOMPARE(pasteboard.stringForType(NSStringPboardType), QStringLiteral("two"));
    }

    void typesWithoutBytesAreNotCommitted_data() { backends(); }
    void typesWithoutBytesAreNotCommitted() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        pasteboard.declareTypes({publicHtml, NSStringPboardType});
        pasteboard.setDataForType("", NSStringPboardType);
        pasteboard.commit();
        QCOMPARE(pasteboard.types(), QStringList{NSStringPboardType});
        QCOMPARE(pasteboard.dataForType(NSStringPboardType), QByteArray(""));
    }

    void nothingHappensWithoutADeclaration_data() { backends(); }
    void nothingHappensWithoutADeclaration() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        desktop->copy("theirs");
        const qint64 before = pasteboard.changeCount();
        pasteboard.addTypes({publicHtml});
        pasteboard.setStringForType(QStringLiteral("ours"), NSStringPboardType);
        pasteboard.commit();
        pasteboard.declareTypes({});
        pasteboard.commit();
        QCOMPARE(pasteboard.changeCount(), before + 1);
        pasteboard.commit();
        QCOMPARE(pasteboard.changeCount(), before + 1);
        QCOMPARE(pasteboard.types(), QStringList());
    }

    void fileNamesAreAList_data() { backends(); }
    void fileNamesAreAList() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        const PropertyList names(
            PropertyList::List{QStringLiteral("/a b.png"), QStringLiteral("/ü")});
        pasteboard.declareTypes({});
        pasteboard.setPropertyListForType(names, NSFilenamesPboardType);
        QVERIFY(pasteboard.propertyListForType(NSFilenamesPboardType) == names);
        pasteboard.commit();
        QVERIFY(pasteboard.propertyListForType(NSFilenamesPboardType) == names);
        pasteboard.declareTypes({});
        pasteboard.setDataForType(PropertyListSerialization::binary(names), NSFilenamesPboardType);
        QVERIFY(pasteboard.propertyListForType(NSFilenamesPboardType) == names);
        pasteboard.setDataForType("one", NSFilenamesPboardType);
        QVERIFY(!pasteboard.propertyListForType(NSFilenamesPboardType));
    }

    void titleIsAString_data() { backends(); }
    void titleIsAString() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        const PropertyList title(QStringLiteral("(A title; with = signs)"));
        pasteboard.declareTypes({});
        pasteboard.setPropertyListForType(title, publicUrlName);
        QVERIFY(pasteboard.propertyListForType(publicUrlName) == title);
        QCOMPARE(pasteboard.dataForType(publicUrlName), QByteArray("(A title; with = signs)"));
    }

    void urlIsReadBack_data() { backends(); }
    void urlIsReadBack() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        const QUrl url(QStringLiteral("https://example.org/ä?b=c&d#e"));
        pasteboard.declareTypes({});
        pasteboard.writeUrl(url);
        pasteboard.commit();
        QCOMPARE(pasteboard.types(), QStringList{NSURLPboardType});
        QCOMPARE(pasteboard.url(), url);
        // Bytes that another program made.
        pasteboard.declareTypes({});
        pasteboard.setDataForType("http://a.org/", NSURLPboardType);
        QCOMPARE(pasteboard.url(), QUrl(QStringLiteral("http://a.org/")));
        pasteboard.setDataForType("no URL", NSURLPboardType);
        QVERIFY(!pasteboard.url());
    }

    void textIsReadFromTextTypesOnly_data() { backends(); }
    void textIsReadFromTextTypesOnly() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        pasteboard.declareTypes({});
        const QString text = QStringLiteral("tëxt");
        for (const QString &type :
             {NSStringPboardType, NSRTFPboardType, NSRTFDPboardType, NSTabularTextPboardType,
              NSMultipleTextSelectionPboardType, NSInkTextPboardType, publicHtml}) {
            pasteboard.setStringForType(text, type);
            QCOMPARE(pasteboard.stringForType(type), text);
        }
        pasteboard.setDataForType("{\\rtf1\\b x}", NSRTFPboardType);
        QCOMPARE(pasteboard.stringForType(NSRTFPboardType), QStringLiteral("x"));
        // Markup is never taken for text.
        for (const QString &type : {NSRTFPboardType, NSRTFDPboardType}) {
            pasteboard.setDataForType("{\\rtf1 unfinished", type);
            QCOMPARE(pasteboard.stringForType(type), QStringLiteral("unfinished"));
            pasteboard.setDataForType("{\\rtf1" + QByteArray(maximumRtfDepth, '{'), type);
            QVERIFY(!pasteboard.stringForType(type));
            pasteboard.setDataForType("\n {\\rt", type);
            QVERIFY(!pasteboard.stringForType(type));
            pasteboard.setDataForType("{text", type);
            QCOMPARE(pasteboard.stringForType(type), QStringLiteral("{text"));
        }
        pasteboard.setDataForType("rtfd", NSRTFPboardType);
        QCOMPARE(pasteboard.stringForType(NSRTFPboardType), QStringLiteral("rtfd"));
        pasteboard.setDataForType(QByteArray("rtfd\0\0\0\0", 8), NSRTFDPboardType);
        QVERIFY(!pasteboard.stringForType(NSRTFDPboardType));
        pasteboard.setDataForType("text", publicPng);
        QVERIFY(!pasteboard.stringForType(publicPng));
        pasteboard.setDataForType("\xff", NSStringPboardType);
        QVERIFY(!pasteboard.stringForType(NSStringPboardType));
    }

    void bytesAreReadAsAPropertyList_data() { backends(); }
    void bytesAreReadAsAPropertyList() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        const PropertyList value(PropertyList::Dictionary{{QStringLiteral("a"), PropertyList(1)}});
        const QString type = QStringLiteral("org.example");
        pasteboard.declareTypes({});
        pasteboard.setPropertyListForType(value, type);
        QVERIFY(pasteboard.propertyListForType(type) == value);
        pasteboard.setDataForType("\xff\xfe\xfd", type);
        QVERIFY(!pasteboard.propertyListForType(type));
    }

    void quitIsAllowed_data() { backends(); }
    void quitIsAllowed() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        desktop->pasteboard().setWatching(false);
        int calls = 0;
        desktop->pasteboard().prepareToQuit([&] { ++calls; });
        QCOMPARE(calls, 1);
    }

    void nullIsAlwaysEmptyAndSaysSoOnce() {
        NullPasteboard pasteboard;
        QCOMPARE(pasteboard.changeCount(), 0);
        QTest::ignoreMessage(QtWarningMsg,
                             "no clipboard can be reached in this session: nothing is "
                             "copied from or to it");
        QCOMPARE(pasteboard.types(), QStringList());
        pasteboard.declareTypes({});
        pasteboard.setStringForType(QStringLiteral("x"), NSStringPboardType);
        QCOMPARE(pasteboard.types(), QStringList{NSStringPboardType});
        QVERIFY_EXCEPTION_THROWN(pasteboard.commit(), PlatformException);
        QCOMPARE(pasteboard.types(), QStringList());
        QVERIFY(!pasteboard.stringForType(NSStringPboardType));
        bool isDone = false;
        pasteboard.prepareToQuit([&] { isDone = true; });
        QVERIFY(isDone);
    }

    void fakeFailsWhenItIsTold() {
        FakePasteboard pasteboard;
        pasteboard.setWatching(true);
        pasteboard.copyText(QStringLiteral("x"));
        pasteboard.failReadsWith(QStringLiteral("broken"));
        QVERIFY_EXCEPTION_THROWN((void)pasteboard.types(), PlatformException);
        QCOMPARE(pasteboard.clipboard().types(), QStringList{NSStringPboardType});
        pasteboard.failReadsWith({});
        QCOMPARE(pasteboard.types(), QStringList{NSStringPboardType});
        QCOMPARE(pasteboard.readCount(), 2);
        pasteboard.failCommitsWith(QStringLiteral("broken"));
        pasteboard.declareTypes({});
        QVERIFY_EXCEPTION_THROWN(pasteboard.commit(), PlatformException);
        QCOMPARE(pasteboard.commitCount(), 0);
        QCOMPARE(pasteboard.clipboard().types(), QStringList{NSStringPboardType});
    }
};

QTEST_GUILESS_MAIN(PasteboardContractTest)
#include "tst_x11_pasteboardcontract.moc"
