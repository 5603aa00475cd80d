// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/WindowParts.h"

#include "platform/foundation/HostAndPort.h"
#include "preferences/PanelTexts.h"
#include "support/RegisteredPhones.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace clipmule {

namespace WindowParts {

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

QColor mixed(const QColor &one, const QColor &other, double share) {
    const auto mix = [share](int from, int to) { return int(from + (to - from) * share); };
    return {mix(one.red(), other.red()), mix(one.green(), other.green()),
            mix(one.blue(), other.blue())};
}

} // namespace WindowParts

NoticeBar::NoticeBar(QWidget *parent)
    : QFrame(parent)
    , _text(new QLabel(this)) {
    setAutoFillBackground(true);
    setFrameShape(QFrame::StyledPanel);
    _text->setWordWrap(true);
    _text->setTextFormat(Qt::PlainText);
    _text->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto *const dismiss = new QPushButton(PanelTexts::tr("Dismiss"), this);
    connect(dismiss, &QPushButton::clicked, this, &NoticeBar::hide);
    auto *const layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 6, 6, 6);
    layout->addWidget(_text, 1);
    layout->addWidget(dismiss);
    tint();
    hide();
}

void NoticeBar::showNotice(const QString &text) {
    if (isVisibleTo(parentWidget()) && _text->text() == text)
        return;
    _text->setText(text);
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
    tinted.setColor(QPalette::Window, WindowParts::mixed(window, tinted.color(QPalette::Highlight),
                                                         window.lightness() < 128 ? 0.22 : 0.12));
    setPalette(tinted);
}

StatisticsRow::StatisticsRow(QWidget *parent)
    : QWidget(parent) {
    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    for (const QString &name : {PanelTexts::tr("Sent"), PanelTexts::tr("Received"),
                                PanelTexts::tr("Texts"), PanelTexts::tr("Pictures")}) {
        auto *const column = new QVBoxLayout;
        column->setSpacing(0);
        auto *const value = new QLabel(this);
        QFont font = value->font();
        font.setPointSizeF(font.pointSizeF() * 1.2);
        value->setFont(font);
        value->setTextFormat(Qt::PlainText);
        auto *const caption = new QLabel(name, this);
        for (QLabel *label : {value, caption}) {
            label->setAlignment(Qt::AlignHCenter);
            column->addWidget(label);
        }
        row->addLayout(column);
        _counters.append({value, name});
    }
}

void StatisticsRow::showStatistics(const SettingsStores::Statistics &statistics) {
    const QLocale locale;
    const auto size = [&locale](quint64 bytes) {
        return locale.formattedDataSize(qint64(bytes), 1, QLocale::DataSizeSIFormat);
    };
    const QStringList values{size(statistics.bytesSent), size(statistics.bytesReceived),
                             locale.toString(statistics.textItems),
                             locale.toString(statistics.imageItems)};
    for (qsizetype i = 0; i < values.size(); ++i) {
        const auto &[label, name] = _counters[i];
        label->setText(values[i]);
        label->setAccessibleName(PanelTexts::tr("%1: %2").arg(name, values[i]));
    }
}

namespace {

// The dialog's width in units of the font's height.
constexpr int dialogWidth = 28;

} // namespace

PairByAddressDialog::PairByAddressDialog(QWidget *parent)
    : QDialog(parent)
    , _name(new QLineEdit(this))
    , _address(new QLineEdit(this))
    , _problem(WindowParts::makeHint(this)) {
    setWindowTitle(PanelTexts::tr("Pair by Address"));
    _name->setObjectName(QStringLiteral("phoneName"));
    _name->setMaxLength(int(RegisteredPhones::longestService));
    _address->setObjectName(QStringLiteral("phoneAddress"));
    _problem->setObjectName(QStringLiteral("problem"));
    _address->setMaxLength(int(longestHostAndPort));
    _address->setPlaceholderText(QStringLiteral("192.168.1.20:5000"));
    auto *const form = new QFormLayout;
    form->addRow(PanelTexts::tr("Name, as the phone shows it:"), _name);
    form->addRow(PanelTexts::tr("Address and port:"), _address);
    auto *const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    _pair = buttons->addButton(PanelTexts::tr("Pair"), QDialogButtonBox::AcceptRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    for (QLineEdit *edit : {_name, _address})
        connect(edit, &QLineEdit::textChanged, this, &PairByAddressDialog::check);
    auto *const layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(_problem);
    layout->addStretch();
    layout->addWidget(buttons);
    check();
    // Room for two lines of what is wrong, so that nothing jumps while somebody types.
    _problem->setMinimumHeight(2 * fontMetrics().height());
    resize(dialogWidth * fontMetrics().height(), sizeHint().height());
}

QString PairByAddressDialog::phoneName() const {
    return _name->text().trimmed();
}

QString PairByAddressDialog::address() const {
    const auto parsed = parseHostAndPort(_address->text());
    return parsed ? parsed->text() : QString();
}

void PairByAddressDialog::check() {
    const auto parsed = parseHostAndPort(_address->text());
    QString problem;
    if (phoneName().toUtf8().size() > RegisteredPhones::longestService)
        problem = PanelTexts::tr("The name is too long.");
    else if (!_address->text().trimmed().isEmpty() && !parsed)
        problem = parsed.error().reason + u'.';
    _problem->setText(problem);
    _pair->setEnabled(!phoneName().isEmpty() && parsed && problem.isEmpty());
}

} // namespace clipmule
