// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PairByAddressDialog.h"

#include "platform/foundation/HostAndPort.h"
#include "preferences/PanelTexts.h"
#include "preferences/WindowParts.h"
#include "support/RegisteredPhones.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace clipmule {

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
    return parsed.value ? parsed.value->text() : QString();
}

void PairByAddressDialog::check() {
    const ParsedHostAndPort parsed = parseHostAndPort(_address->text());
    QString problem;
    if (phoneName().toUtf8().size() > RegisteredPhones::longestService)
        problem = PanelTexts::tr("The name is too long.");
    else if (!_address->text().trimmed().isEmpty() && !parsed.value)
        problem = parsed.error + u'.';
    _problem->setText(problem);
    _pair->setEnabled(!phoneName().isEmpty() && parsed.value && problem.isEmpty());
}

} // namespace clipmule
