// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSViewCategories.h"
#include "tests/kit/TestCase.h"

#include <QApplication>
#include <QDialog>
#include <QPushButton>
#include <QStyle>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace clipmule;
using clipmule::ZRKNSButtonCategory::addTitleShadowColorShadowOffset;
using clipmule::ZRKNSViewCategory::allSubviews;

namespace {

QRect boundsOf(const QImage &image, const QColor &color) {
    QRect bounds;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y).rgb() == color.rgb())
                bounds |= QRect(x, y, 1, 1);
        }
    }
    return bounds;
}

const QColor shadowColor(1, 200, 3);
const QColor titleColor(200, 2, 3);

} // namespace

class ViewCategoriesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        button = std::make_unique<QPushButton>(QStringLiteral("|||"));
        button->resize(120, 40);
        QPalette palette = button->palette();
        palette.setColor(QPalette::ButtonText, titleColor);
        button->setPalette(palette);
        // Whole pixels, which can be told by their colour.
        QFont font = button->font();
        font.setStyleStrategy(QFont::NoAntialias);
        font.setPixelSize(16);
        button->setFont(font);
    }

private Q_SLOTS:
    void noSubviews() {
        const QWidget view;
        QCOMPARE(allSubviews(view), QList<QWidget *>());
    }

    void parentsComeBeforeTheirChildren() {
        QWidget root;
        QWidget first(&root);
        QWidget second(&root);
        QWidget inFirst(&first);
        QWidget inInFirst(&inFirst);
        QWidget alsoInFirst(&first);
        QWidget inSecond(&second);
        // Not a view.
        QTimer timer(&first);
        QCOMPARE(allSubviews(root), (QList<QWidget *>{&first, &inFirst, &inInFirst, &alsoInFirst,
                                                      &second, &inSecond}));
        QCOMPARE(allSubviews(first), (QList<QWidget *>{&inFirst, &inInFirst, &alsoInFirst}));
    }

    void windowsAreNoSubviews() {
        QWidget root;
        QDialog dialog(&root);
        QWidget inDialog(&dialog);
        QWidget child(&root);
        QCOMPARE(allSubviews(root), QList<QWidget *>{&child});
    }

    void shadowLiesBesideTheTitle_data() {
        QTest::addColumn<QPointF>("offset");
        // y upwards
        QTest::newRow("above") << QPointF(0, 1);
        QTest::newRow("below") << QPointF(0, -2);
        QTest::newRow("right") << QPointF(3, 0);
        QTest::newRow("left, above") << QPointF(-2, 2);
    }

    void shadowLiesBesideTheTitle() {
        QFETCH(QPointF, offset);
        const QRect title = boundsOf(drawn(), titleColor);
        QVERIFY(!title.isEmpty());
        QVERIFY(boundsOf(drawn(), shadowColor).isEmpty());
        addTitleShadowColorShadowOffset(*button, shadowColor, offset);
        const QRect shadow = boundsOf(drawn(), shadowColor);
        QVERIFY(!shadow.isEmpty());
        const QRect expected = title.translated(int(offset.x()), -int(offset.y()));
        // The title covers part of it.
        QVERIFY(expected.contains(shadow));
        if (offset.x() > 0)
            QCOMPARE(shadow.right(), expected.right());
        if (offset.x() < 0)
            QCOMPARE(shadow.left(), expected.left());
        if (offset.y() > 0)
            QCOMPARE(shadow.top(), expected.top());
        if (offset.y() < 0)
            QCOMPARE(shadow.bottom(), expected.bottom());
    }

    void titleStaysWhereItWas() {
        const QRect title = boundsOf(drawn(), titleColor);
        QVERIFY(!title.isEmpty());
        addTitleShadowColorShadowOffset(*button, shadowColor, {0, 1});
        QCOMPARE(boundsOf(drawn(), titleColor), title);
        QCOMPARE(button->text(), QStringLiteral("|||"));
    }

    void secondShadowReplacesTheFirst() {
        addTitleShadowColorShadowOffset(*button, shadowColor, {0, 3});
        const QColor other(4, 5, 200);
        addTitleShadowColorShadowOffset(*button, other, {0, -3});
        QCOMPARE(button->findChildren<QStyle *>(QString(), Qt::FindDirectChildrenOnly).size(), 1);
        QVERIFY(boundsOf(drawn(), shadowColor).isEmpty());
        QVERIFY(boundsOf(drawn(), other).bottom() > boundsOf(drawn(), titleColor).bottom());
    }

    void shadowFollowsTheTitle() {
        addTitleShadowColorShadowOffset(*button, shadowColor, {0, 1});
        const int narrow = boundsOf(drawn(), shadowColor).width();
        button->setText(QStringLiteral("|||||||||"));
        QVERIFY(boundsOf(drawn(), shadowColor).width() > 2 * narrow);
    }

    void otherButtonsKeepTheirStyle() {
        const QPushButton other;
        addTitleShadowColorShadowOffset(*button, shadowColor, {0, 1});
        QVERIFY(other.style() != button->style());
        // The style goes with its button.
        QCOMPARE(button->style()->parent(), button.get());
        button.reset();
        QCOMPARE(other.style(), QApplication::style());
    }

private:
    [[nodiscard]] QImage drawn() { return button->grab().toImage(); }
    std::unique_ptr<QPushButton> button;
};

QTEST_MAIN(ViewCategoriesTest)
#include "tst_viewcategories.moc"
