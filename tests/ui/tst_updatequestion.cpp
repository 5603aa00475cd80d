// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "ui/UpdateQuestion.h"

#include <QMessageBox>
#include <QPushButton>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

class UpdateQuestionTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void theUpdateQuestionIsAnsweredByItsButtons_data() {
        QTest::addColumn<QString>("button");
        QTest::addColumn<bool>("wanted");
        QTest::newRow("yes") << u"Install"_s << true;
        QTest::newRow("no") << u"Later"_s << false;
        QTest::newRow("window closed") << QString() << false;
    }
    void theUpdateQuestionIsAnsweredByItsButtons() {
        QFETCH(QString, button);
        QFETCH(bool, wanted);
        UpdateQuestion question;
        QList<bool> answers;
        question.ask(u"<b>2</b>"_s, [&answers](bool answer) { answers.append(answer); });
        QVERIFY(question.window()->isVisible());
        QCOMPARE(question.window()->text(),
                 u"Clipmule Sync <b>2</b> is available. Do you want to install it?"_s);
        QCOMPARE(question.window()->textFormat(), Qt::PlainText);
        QCOMPARE(question.window()->icon(), QMessageBox::Question);
        if (button.isEmpty())
            question.window()->close();
        for (QAbstractButton *const one :
             question.window() ? question.window()->buttons() : QList<QAbstractButton *>()) {
            if (one->text() == button) {
                one->click();
                break;
            }
        }
        QCOMPARE(answers, QList<bool>({wanted}));
        QVERIFY(!question.window());
    }

    void theSameUpdateQuestionComesToTheFront() {
        class Watch final : public QObject {
        public:
            bool eventFilter(QObject *, QEvent *event) override {
                raises += event->type() == QEvent::ZOrderChange ? 1 : 0;
                return false;
            }
            int raises = 0;
        };
        Watch watch;
        UpdateQuestion question;
        QStringList answers;
        question.ask(u"2"_s, [&answers](bool) { answers.append(u"first"_s); });
        QMessageBox *const window = question.window();
        window->installEventFilter(&watch);
        window->showMinimized();
        watch.raises = 0;
        question.ask(u"2"_s, {});
        QCOMPARE(question.window(), window);
        QCOMPARE(watch.raises, 1);
        QVERIFY(!window->isMinimized());
        window->close();
        QCOMPARE(answers, QStringList(u"first"_s));
        // Another version is another question.
        question.ask(u"2"_s, [&answers](bool) { answers.append(u"second"_s); });
        question.ask(u"3"_s, [&answers](bool) { answers.append(u"third"_s); });
        QCOMPARE(answers.constLast(), u"second"_s);
        QVERIFY(question.window()->text().contains(u'3'));
    }

    void anUpdateQuestionThatIsStillOpenGoesSilently() {
        bool answered = false;
        {
            UpdateQuestion question;
            question.ask(u"2"_s, [&answered](bool) { answered = true; });
        }
        QVERIFY(!answered);
    }
};

QTEST_MAIN(UpdateQuestionTest)
#include "tst_updatequestion.moc"
