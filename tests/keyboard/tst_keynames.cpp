// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/PasteStroke.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

class KeyNamesTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void strokes_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QList<quint32>>("keys");
        const auto row = [](const char *name, const QList<quint32> &keys) {
            QTest::newRow(name) << QString::fromLatin1(name) << keys;
        };
        row("Ctrl+V", {0xffe3, 'v'});
        row("Ctrl+Shift+V", {0xffe3, 0xffe1, 'v'});
        row("shift+INSERT", {0xffe1, 0xff63});
        row("Super+Alt+Shift+Ctrl+0", {0xffeb, 0xffe9, 0xffe1, 0xffe3, '0'});
        row("9", {'9'});
        row("a", {'a'});
        row("Z", {'z'});
        row("none", {});
        row("NONE", {});
    }
    void strokes() {
        QFETCH(QString, name);
        const auto keys = keysOfName(name);
        QVERIFY(keys);
        QTEST(*keys, "keys");
    }

    void otherTexts_data() {
        QTest::addColumn<QString>("name");
        for (const char *name :
             {"", "+", "Ctrl+", "+V", "Ctrl", "Ctrl+Ctrl+V", "Ctrl + V", "Ctrl+VV", "Hyper+V",
              "V+Ctrl", "Ctrl+/", "Ctrl+:", "Ctrl+`", "Ctrl+{", "Ctrl+\xe4", "None+V", "Ctrl+None"})
            QTest::newRow(name) << QString::fromLatin1(name);
        QTest::newRow("long") << QStringLiteral("Ctrl+").repeated(100'000) + u'v';
    }
    void otherTexts() {
        QFETCH(QString, name);
        QVERIFY(!keysOfName(name));
    }
};

QTEST_GUILESS_MAIN(KeyNamesTest)
#include "tst_keynames.moc"
