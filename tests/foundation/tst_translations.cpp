// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Translations.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTest>
#include <QTranslator>

using namespace clipmule;

class TranslationsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void cleanup() {
        for (QTranslator *const translator : qApp->findChildren<QTranslator *>()) {
            QCoreApplication::removeTranslator(translator);
            delete translator;
        }
    }

    void textsAreInTheUsersLanguage_data() {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("text");
        QTest::newRow("German") << QStringLiteral("de_DE") << QStringLiteral("Nicht verbunden…");
        QTest::newRow("Swiss German")
            << QStringLiteral("de_CH") << QStringLiteral("Nicht verbunden…");
        QTest::newRow("Japanese") << QStringLiteral("ja_JP") << QStringLiteral("未接続…");
    }
    void textsAreInTheUsersLanguage() {
        QFETCH(QString, locale);
        QFETCH(QString, text);
        QVERIFY(installTranslations(QLocale(locale)));
        QCOMPARE(QCoreApplication::translate("Clipmule", "Not Connected…"), text);
    }

    void otherLanguagesGetTheKey() {
        QVERIFY(!installTranslations(QLocale(QStringLiteral("fi_FI"))));
        QVERIFY(!installTranslations(QLocale::c()));
        QCOMPARE(QCoreApplication::translate("Clipmule", "Not Connected…"),
                 QStringLiteral("Not Connected…"));
    }

    void aTextWithoutATranslationIsItsKey() {
        QVERIFY(installTranslations(QLocale(QStringLiteral("de_DE"))));
        QCOMPARE(QCoreApplication::translate("Clipmule", "Nobody says this."),
                 QStringLiteral("Nobody says this."));
    }
};

QTEST_GUILESS_MAIN(TranslationsTest)
#include "tst_translations.moc"
