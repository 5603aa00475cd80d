// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "preferences/PhoneList.h"

#include <QAbstractListModel>
#include <QStyledItemDelegate>

namespace clipmule {

/// Some of the phones as rows of a view. A new list moves, adds and removes single rows, so that
/// what is selected stays so.
class PhoneListModel final : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role {
        ServiceRole = Qt::UserRole,
        /// The line below the name.
        DescriptionRole,
        /// PhoneList::Presence as an int; missing for a phone that is not registered.
        PresenceRole,
    };
    /// What the lines depend on beside the phones.
    struct Circumstances {
        bool agentRuns = false;
        bool syncEnabled = true;
        Date now;
        friend bool operator==(const Circumstances &, const Circumstances &) = default;
    };

    using QAbstractListModel::QAbstractListModel;

    void setPhones(const QList<PhoneList::Phone> &phones, const Circumstances &circumstances);
    [[nodiscard]] QString serviceAt(const QModelIndex &index) const;
    /// The index of a phone's row; invalid when it is not listed.
    [[nodiscard]] QModelIndex indexOf(const QString &service) const;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;

private:
    void removeMissing(const QList<PhoneList::Phone> &phones);
    [[nodiscard]] QString description(const PhoneList::Phone &phone) const;
    [[nodiscard]] QString presenceText(const PhoneList::Phone &phone) const;
    [[nodiscard]] QString localPresenceText(const PhoneList::Phone &phone) const;

    QList<PhoneList::Phone> _phones;
    Circumstances _circumstances;
};

/// Draws a phone: what it is at a glance, its name, and below it a line about it.
class PhoneDelegate final : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option,
                                 const QModelIndex &index) const override;
};

} // namespace clipmule
