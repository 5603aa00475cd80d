// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/WindowParts.h"

#include <QAbstractItemView>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace clipmule::WindowParts {

QLabel *makeHeading(const QString &text, QWidget *parent) {
    auto *const label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}

QLabel *makeHint(QWidget *parent) {
    auto *const label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

QWidget *makeLine(QWidget *parent) {
    auto *const line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

QStackedWidget *makePages(QAbstractItemView *view, const QList<QLabel *> &hints, QWidget *parent) {
    auto *const pages = new QStackedWidget(parent);
    pages->addWidget(view);
    // The page looks like the view it stands for.
    auto *const page = new QFrame(pages);
    page->setFrameStyle(view->frameStyle());
    page->setBackgroundRole(QPalette::Base);
    page->setAutoFillBackground(true);
    auto *const layout = new QVBoxLayout(page);
    layout->setContentsMargins(margin, margin / 2, margin, margin / 2);
    layout->addStretch();
    for (QLabel *hint : hints) {
        hint->setAlignment(Qt::AlignCenter);
        hint->setForegroundRole(QPalette::Text);
        layout->addWidget(hint);
    }
    layout->addStretch();
    pages->addWidget(page);
    // Room for two phones.
    pages->setMinimumHeight(view->fontMetrics().height() * 7);
    // What a view would like to have is more than most people have phones.
    pages->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Ignored);
    return pages;
}

QLayout *makeButtonRow(const QList<QPushButton *> &buttons) {
    auto *const row = new QHBoxLayout;
    row->addStretch();
    for (QPushButton *button : buttons)
        row->addWidget(button);
    return row;
}

QLayout *makeCounter(QLabel *value, const QString &name, QWidget *parent) {
    auto *const column = new QVBoxLayout;
    column->setSpacing(0);
    QFont font = value->font();
    font.setPointSizeF(font.pointSizeF() * 1.2);
    value->setFont(font);
    value->setTextFormat(Qt::PlainText);
    auto *const caption = new QLabel(name, parent);
    for (QLabel *label : {value, caption}) {
        label->setAlignment(Qt::AlignHCenter);
        column->addWidget(label);
    }
    return column;
}

} // namespace clipmule::WindowParts
