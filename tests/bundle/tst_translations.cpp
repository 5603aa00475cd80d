// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/bundle/Bundle.h"
#include "tests/kit/TestCase.h"

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTest>
#include <QTranslator>

#include <cstdio>

using namespace clipmule;

namespace {

const QString speakArgument = QStringLiteral("--speak");

// What a user sees: a text, a list and a unit.
QString said() {
    const QLocale locale;
    return QCoreApplication::translate("Clipmule", "Not Connected…") + u'|' +
           locale.createSeparatedList({QStringLiteral("A"), QStringLiteral("B")}) + u'|' +
           locale.formattedDataSize(0);
}

} // namespace

class TranslationsTest final : public kit::TestCase {
    Q_OBJECT

    void end() override {
        for (QTranslator *const translator : qApp->findChildren<QTranslator *>()) {
            QCoreApplication::removeTranslator(translator);
            delete translator;
        }
        QLocale::setDefault(QLocale::system());
    }

private Q_SLOTS:
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
        QCOMPARE(installTranslations(QLocale(locale)), QLocale(locale));
        QCOMPARE(QLocale(), QLocale(locale));
        QCOMPARE(QCoreApplication::translate("Clipmule", "Not Connected…"), text);
    }

    void otherLanguagesGetTheKey_data() {
        QTest::addColumn<QLocale>("user");
        QTest::newRow("Finnish") << QLocale(QStringLiteral("fi_FI"));
        // Whose digits are others.
        QTest::newRow("Arabic") << QLocale(QStringLiteral("ar_EG"));
        QTest::newRow("none") << QLocale::c();
    }
    void otherLanguagesGetTheKey() {
        QFETCH(QLocale, user);
        QCOMPARE(installTranslations(user).language(), QLocale::English);
        QCOMPARE(said(), QStringLiteral("Not Connected…|A and B|0 bytes"));
        QCOMPARE(QLocale().toString(12), QStringLiteral("12"));
    }

    void englishKeepsItsTerritory() {
        QCOMPARE(installTranslations(QLocale(QStringLiteral("en_GB"))),
                 QLocale(QStringLiteral("en_GB")));
    }

    // As a session sets them; a new process reads them.
    void theFirstSpokenOfTheUsersLanguagesCounts_data() {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("languages");
        QTest::addColumn<QString>("text");
        const QString english = QStringLiteral("Not Connected…|A and B|0 bytes");
        const QString german = QStringLiteral("Nicht verbunden…|A und B|0 Bytes");
        const auto row = [](const char *name, const char *locale, const char *languages,
                            const QString &text) {
            QTest::newRow(name) << QString::fromLatin1(locale) << QString::fromLatin1(languages)
                                << text;
        };
        row("English, then German", "en_US.UTF-8", "en_US:de", english);
        row("English twice, then others", "en_GB.UTF-8", "en_GB:en:de_DE:ja", english);
        row("only English", "en_US.UTF-8", "", english);
        row("German texts in an English country", "en_US.UTF-8", "de", german);
        row("German, then English", "de_DE.UTF-8", "de:en", german);
        row("Finnish, then German", "fi_FI.UTF-8", "fi:de", german);
        row("Finnish, English, then German", "fi_FI.UTF-8", "fi:en:de", english);
        row("French", "fr_FR.UTF-8", "", english);
    }
    void theFirstSpokenOfTheUsersLanguagesCounts() {
        QFETCH(QString, locale);
        QFETCH(QString, languages);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const QString &key : environment.keys()) {
            if (key.startsWith(QStringLiteral("LC_")))
                environment.remove(key);
        }
        environment.insert(QStringLiteral("LANG"), locale);
        environment.insert(QStringLiteral("LANGUAGE"), languages);
        QProcess speaker;
        speaker.setProcessEnvironment(environment);
        speaker.start(QCoreApplication::applicationFilePath(), {speakArgument});
        QVERIFY(speaker.waitForFinished());
        QTEST(QString::fromUtf8(speaker.readAllStandardOutput()), "text");
    }

    void aTextWithoutATranslationIsItsKey() {
        installTranslations(QLocale(QStringLiteral("de_DE")));
        QCOMPARE(QCoreApplication::translate("Clipmule", "Nobody says this."),
                 QStringLiteral("Nobody says this."));
    }
};

int main(int argc, char *argv[]) {
    QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().contains(speakArgument)) {
        installTranslations();
        std::fputs(said().toUtf8().constData(), stdout);
        return 0;
    }
    TranslationsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_translations.moc"
