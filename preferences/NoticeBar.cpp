// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/NoticeBar.h"

#include "preferences/PanelTexts.h"

#include <QAccessible>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace clipmule {

namespace {

QColor mixed(const QColor &base, const QColor &tint, double share) {
    const auto mix = [share](int one, int other) { return int(one * (1 - share) + other * share); };
    return {mix(base.red(), tint.red()), mix(base.green(), tint.green()),
            mix(base.blue(), tint.blue())};
}

} // namespace

NoticeBar::NoticeBar(QWidget *parent)
    : QFrame(parent)
    , _text(new QLabel(this))
    , _button(new QPushButton(this))
    , _dismiss(new QPushButton(PanelTexts::tr("Dismiss"), this)) {
    setAutoFillBackground(true);
    setFrameShape(QFrame::StyledPanel);
    _text->setWordWrap(true);
    _text->setTextFormat(Qt::PlainText);
    _text->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto *const layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 6, 6, 6);
    layout->addWidget(_text, 1);
    layout->addWidget(_button);
    layout->addWidget(_dismiss);
    connect(_button, &QPushButton::clicked, this, [this] {
        if (const auto pressed = _buttonPressed)
            pressed();
    });
    connect(_dismiss, &QPushButton::clicked, this, [this] {
        if (const auto dismissed = _dismissed)
            dismissed();
        hide();
    });
    tint();
    hide();
}

void NoticeBar::showNotice(const QString &text, const QString &buttonLabel,
                           std::function<void()> buttonPressed, std::function<void()> dismissed) {
    _buttonPressed = std::move(buttonPressed);
    _dismissed = std::move(dismissed);
    _button->setVisible(!buttonLabel.isEmpty());
    _dismiss->setVisible(bool(_dismissed));
    if (isVisibleTo(parentWidget()) && _text->text() == text && _button->text() == buttonLabel)
        return;
    _text->setText(text);
    _button->setText(buttonLabel);
    setAccessibleName(text);
    show();
    QAccessibleEvent event(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

void NoticeBar::changeEvent(QEvent *event) {
    QFrame::changeEvent(event);
    // Changes of our own palette do not count: tint() makes them.
    if (event->type() == QEvent::ApplicationPaletteChange)
        tint();
}

void NoticeBar::tint() {
    setPalette({});
    QPalette tinted = palette();
    const QColor window = tinted.color(QPalette::Window);
    tinted.setColor(QPalette::Window, mixed(window, tinted.color(QPalette::Highlight),
                                            window.lightness() < 128 ? 0.22 : 0.12));
    setPalette(tinted);
}

} // namespace clipmule
