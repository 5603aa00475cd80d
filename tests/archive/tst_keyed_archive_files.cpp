// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/KeyedArchiver.h"
#include "tests/archive/KeyedArchives.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/Vectors.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

// Archives that other writers made, and archives as files.
class KeyedArchiveFilesTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void readsTheFilesOfOthers_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");
        const QString hello = QStringLiteral(
            "item \"7A1B2C3D-0000-4000-8000-000000000001\" 0 \"Hello, clipboard\" nil "
            "image 0 native 0 cache {} version 2 by 2");
        const QString page = QStringLiteral(
            "item \"7A1B2C3D-0000-4000-8000-000000000002\" 4000000000 \"http://example.com/a?b=1\" "
            "<http://example.com/a?b=1> image 1 native 1 cache {note: \"café\", wordCount: 3} "
            "version 2 by 0");
        const QString stale =
            QStringLiteral("item \"7A1B2C3D-0000-4000-8000-000000000003\" 0 nil nil "
                           "image 0 native 0 cache {k: \"stale\"} version 1 by 2");
        const auto row = [](const char *name, const QString &expected) {
            QTest::newRow(name) << QString::fromLatin1(name) << expected;
        };
        row("mac_item_text.bplist", hello);
        row("mac_item_text.xml.plist", hello);
        row("mac_item_cachever1.bplist",
            QStringLiteral("item \"X2\" 0 \"t\" nil image 0 native 0 cache {k: \"stale\"} "
                           "version 1 by 2"));
        row("mac_item_mutable_string.bplist",
            QStringLiteral("item \"X6\" 0 \"mutable text\" nil image 0 native 0 cache {} "
                           "version 2 by 2"));
        row("mac_clip_legacy_0.bplist",
            QStringLiteral("clip \"C-L0\" 1.5s \"Old\" by 0\n"
                           "  item \"L1\" 0 \"a\" nil image 0 native 0 cache {} version 2 by 0\n"
                           "  item \"L2\" 0 \"b\" nil image 0 native 0 cache {} version 2 by 2"));
        row("mac_clip_legacy_1.bplist",
            QStringLiteral("clip \"C-L1\" 1.5s \"Old\" by 1\n"
                           "  item \"L1\" 0 \"a\" nil image 0 native 0 cache {} version 2 by 0"));
        row("mac_clip_no_date.bplist", QStringLiteral("clip \"C-ND\" nil \"T\""));
        row("mac_clipboard_items.bplist", QStringLiteral("clip \"C1\" 400000000.25s nil\n  ") +
                                              hello +
                                              QStringLiteral("\nclip \"C2\" 400000001s \"Second\""
                                                             "\n  ") +
                                              page);
        row("mac_main_clipboard.bplist",
            QStringLiteral("clipboard \"Main\" \"Clipboard\" \"main\" 2"));
        row("mac_custom_clipboards.bplist",
            QStringLiteral("clipboard \"B1\" \"Work\" \"default\" 0\n"
                           "clipboard \"B2\" nil \"star\" 5"));
        row("mac_native_dictionary.bplist",
            QStringLiteral("{com.example.empty: <>, com.example.mutable: <000102ff>, "
                           "public.utf8-plain-text: <48656c6c6f>}"));
        for (const char *form : {"gs_item_text.bplist", "gs_item_text.xml.plist"})
            row(form, hello);
        for (const char *form : {"gs_item_url_image.bplist", "gs_item_url_image.xml.plist"})
            row(form, page);
        for (const char *form : {"gs_item_cachever1.bplist", "gs_item_cachever1.xml.plist"})
            row(form, stale);
        const QString twoItems =
            QStringLiteral("clip \"C0000000-0000-4000-8000-00000000000A\" %1s nil\n  ") + hello +
            QStringLiteral("\n  ") + page;
        row("gs_clip_two_items.bplist", twoItems.arg(QStringLiteral("400000000.25")));
        row("gs_clip_two_items.xml.plist", twoItems.arg(QStringLiteral("400000000")));
        const QString twoClips = twoItems +
                                 QStringLiteral("\nclip \"C0000000-0000-4000-8000-00000000000B\" "
                                                "nil \"Titled %2\" by 0\n  ") +
                                 stale;
        row("gs_clipboard_items.bplist",
            twoClips.arg(QStringLiteral("400000000.25"), QStringLiteral("😀")));
        // That writer's XML has its own escapes for characters beyond 16 bits.
        row("gs_clipboard_items.xml.plist",
            twoClips.arg(QStringLiteral("400000000"), QStringLiteral("\\UD83D\\UDE00")));
    }

    void readsTheFilesOfOthers() {
        QFETCH(QString, name);
        QFETCH(QString, expected);
        const auto root = kit::valueOf(KeyedUnarchiver::unarchivedObject(
            kit::vectorBytes(QStringLiteral("keyed/") + name), archivedClasses()));
        QCOMPARE(describe(root), expected);
    }

    void everyFileOfOthersHasARow() {
        QStringList known;
        for (const QString &name : kit::vectorsIn(QStringLiteral("keyed")))
            known.append(name);
        QCOMPARE(known.filter(QStringLiteral("/bad_")).size(), 11);
        QCOMPARE(known.size() - 11, 21);
    }

    void refusesBadFiles_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("reason");
        const auto row = [](const char *name, const QString &reason) {
            QTest::newRow(name) << QStringLiteral("keyed/bad_%1.bplist").arg(QLatin1String(name))
                                << reason;
        };
        row("no_objects", QStringLiteral("a keyed archive without objects"));
        row("archiver", QStringLiteral("not a keyed archive"));
        row("uid_out_of_range", QStringLiteral("a reference to no object"));
        row("class_missing", QStringLiteral("an object without a class"));
        row("classname_missing", QStringLiteral("a class without a name"));
        row("unknown_class", QStringLiteral("unknown class ZRKNoSuchClass"));
        row("ref_is_plain_value", QStringLiteral("a string in the place of an object"));
        row("array_self_cycle", QStringLiteral("a list or dictionary contains itself"));
        const QByteArray noList = kit::vectorBytes(QStringLiteral("keyed/bad_not_plist.bplist"));
        row("not_plist", PropertyListSerialization::parse(noList).error().reason);
        row("truncated", QStringLiteral("binary property list: offset table outside the file"));
    }

    void refusesBadFiles() {
        QFETCH(QString, name);
        QFETCH(QString, reason);
        QVERIFY(!reason.isEmpty());
        QCOMPARE(reasonOf([&] {
                     (void)kit::valueOf(KeyedUnarchiver::unarchivedObject(kit::vectorBytes(name),
                                                                          archivedClasses()));
                 }),
                 reason);
    }

    void aFileWithoutARootHoldsNothing() {
        QVERIFY(kit::valueOf(KeyedUnarchiver::unarchivedObject(
                                 kit::vectorBytes(QStringLiteral("keyed/bad_no_top.bplist")),
                                 archivedClasses()))
                    .isNil());
    }

    void writesTheFilesOfOthers_data() {
        QTest::addColumn<QString>("name");
        // Those whose dictionaries have one key at most: ours are sorted.
        for (const char *name : {"mac_item_text.bplist", "mac_item_text.xml.plist",
                                 "mac_item_cachever1.bplist", "mac_clip_no_date.bplist",
                                 "mac_main_clipboard.bplist", "mac_custom_clipboards.bplist"})
            QTest::newRow(name) << QStringLiteral("keyed/") + QString::fromLatin1(name);
    }

    void writesTheFilesOfOthers() {
        QFETCH(QString, name);
        const QByteArray bytes = kit::vectorBytes(name);
        const auto root = kit::valueOf(KeyedUnarchiver::unarchivedObject(bytes, archivedClasses()));
        QVERIFY(KeyedArchiver::archivedPropertyList(root) ==
                *PropertyListSerialization::parse(bytes));
    }

    void writesWhatItReads_data() { readsTheFilesOfOthers_data(); }

    void writesWhatItReads() {
        QFETCH(QString, name);
        QFETCH(QString, expected);
        const auto root = kit::valueOf(KeyedUnarchiver::unarchivedObject(
            kit::vectorBytes(QStringLiteral("keyed/") + name), archivedClasses()));
        const QByteArray archive = KeyedArchiver::archivedData(root);
        QVERIFY(archive.startsWith("bplist00"));
        // A clip's own origin is only read.
        expected.replace(QRegularExpression(QStringLiteral("^(clip .*) by [01]$"),
                                            QRegularExpression::MultilineOption),
                         QStringLiteral("\\1"));
        QCOMPARE(
            describe(kit::valueOf(KeyedUnarchiver::unarchivedObject(archive, archivedClasses()))),
            expected);
    }
};

QTEST_GUILESS_MAIN(KeyedArchiveFilesTest)
#include "tst_keyed_archive_files.moc"
