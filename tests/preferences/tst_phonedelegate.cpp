// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PhoneListModel.h"
#include "tests/kit/TestCase.h"

#include <QApplication>
#include <QListView>
#include <QPainter>
#include <QTest>

#include <algorithm>
#include <cmath>

using namespace clipmule;

namespace {

double luminance(const QColor &color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

double contrast(const QColor &one, const QColor &other) {
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

// Strokes so thick that their middle has the colour of the text.
const QString thick(12, QChar(0x2588));

} // namespace

class PhoneDelegateTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _model.setPhones({{.service = thick, .name = thick + u' ', .isRegistered = true}}, {});
        _view.emplace();
        _view->setModel(&_model);
        _view->setItemDelegate(&_delegate);
        _view->resize(300, 80);
    }

    void end() override { _view.reset(); }

private Q_SLOTS:
    void bothLinesCanBeRead_data() {
        QTest::addColumn<QColor>("base");
        QTest::addColumn<QColor>("text");
        QTest::addColumn<QColor>("highlight");
        QTest::addColumn<QColor>("highlightedText");
        QTest::addColumn<bool>("selected");
        QTest::addColumn<bool>("focused");
        struct Theme {
            const char *name;
            QColor base, text, highlight, highlightedText;
        };
        const Theme themes[] = {
            {"light", Qt::white, Qt::black, QColor(0x30, 0x8c, 0xc6), Qt::white},
            {"dark", QColor(27, 30, 32), QColor(252, 252, 252), QColor(61, 126, 170),
             QColor(252, 252, 252)},
            {"pale selection", Qt::white, QColor(0x30, 0x30, 0x30), QColor(0xb0, 0xd0, 0xf0),
             QColor(0x20, 0x20, 0x60)},
            {"yellow selection", Qt::white, Qt::black, QColor(0xe0, 0xb0, 0x20), Qt::white},
        };
        for (const Theme &theme : themes) {
            for (const bool selected : {false, true}) {
                for (const bool focused : {false, true})
                    QTest::addRow("%s, %s, %s", theme.name, selected ? "selected" : "plain",
                                  focused ? "focused" : "unfocused")
                        << theme.base << theme.text << theme.highlight << theme.highlightedText
                        << selected << focused;
            }
        }
    }
    void bothLinesCanBeRead() {
        QFETCH(QColor, base);
        QFETCH(QColor, text);
        QFETCH(QColor, highlight);
        QFETCH(QColor, highlightedText);
        QFETCH(bool, selected);
        QFETCH(bool, focused);
        QPalette palette;
        for (const auto group : {QPalette::Active, QPalette::Inactive}) {
            palette.setColor(group, QPalette::Base, base);
            palette.setColor(group, QPalette::Text, text);
            palette.setColor(group, QPalette::Highlight, highlight);
            palette.setColor(group, QPalette::HighlightedText, highlightedText);
        }
        _view->setPalette(palette);
        _view->show();
        if (focused) {
            _view->activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(&*_view));
            _view->setFocus();
        }
        QCOMPARE(_view->hasFocus(), focused);
        const QImage image = drawn(palette, selected);
        // The ground is in the row's corner.
        const QColor ground = image.pixelColor(292, 5);
        QList<double> best;
        for (const auto &[from, to] : {std::pair(0, 26), std::pair(30, 60)}) {
            double most = 1;
            for (int y = from; y < to; ++y) {
                for (int x = 40; x < 290; ++x)
                    most = std::max(most, contrast(image.pixelColor(x, y), ground));
            }
            best.append(most);
        }
        QVERIFY2(best[0] >= 4.5 && best[1] >= 4.5,
                 qPrintable(QStringLiteral("%1 and %2").arg(best[0]).arg(best[1])));
        // The second line is never the stronger one.
        QVERIFY(best[1] <= best[0] + 0.01);
    }

    // A name is cut where it ends, whichever way the window runs.
    void aNameIsCutAtItsOwnEnd() {
        const QString name = QStringLiteral("A name of many words that does not fit into the row");
        _model.setPhones({{.service = name, .name = name, .isRegistered = true}}, {});
        QPalette palette;
        const QImage plain = drawn(palette, false);
        const QImage reversed = drawn(palette, false, Qt::RightToLeft);
        // The three dots are lower than any letter.
        const auto heightOfRightEnd = [&palette](const QImage &image, int from) {
            QRect bounds;
            const QImage part = image.copy(from, 0, 266, 30);
            const QColor ground = palette.color(QPalette::Base);
            const auto columns = [&](int first) {
                QRect found;
                for (int x = std::max(first, 0); x < part.width(); ++x) {
                    for (int y = 0; y < part.height(); ++y) {
                        if (part.pixelColor(x, y) != ground)
                            found |= QRect(x, y, 1, 1);
                    }
                }
                return found;
            };
            bounds = columns(0);
            return columns(bounds.right() - 5).height();
        };
        QVERIFY2(heightOfRightEnd(plain, 34) <= 3,
                 qPrintable(QString::number(heightOfRightEnd(plain, 34))));
        QVERIFY2(heightOfRightEnd(reversed, 0) <= 3,
                 qPrintable(QString::number(heightOfRightEnd(reversed, 0))));
    }

private:
    [[nodiscard]] QImage drawn(const QPalette &palette, bool selected,
                               Qt::LayoutDirection direction = Qt::LeftToRight) {
        QStyleOptionViewItem option;
        option.widget = &*_view;
        option.palette = palette;
        option.direction = direction;
        option.font = _view->font();
        option.fontMetrics = QFontMetrics(option.font);
        option.rect = QRect(0, 0, 300, 60);
        option.showDecorationSelected = true;
        option.state = QStyle::State_Enabled | QStyle::State_Active;
        if (selected)
            option.state |= QStyle::State_Selected;
        QImage image(300, 60, QImage::Format_RGB32);
        image.fill(palette.color(QPalette::Base));
        QPainter painter(&image);
        painter.setLayoutDirection(direction);
        _delegate.paint(&painter, option, _model.index(0));
        return image;
    }

    PhoneListModel _model;
    PhoneDelegate _delegate;
    std::optional<QListView> _view;
};

QTEST_MAIN(PhoneDelegateTest)
#include "tst_phonedelegate.moc"
