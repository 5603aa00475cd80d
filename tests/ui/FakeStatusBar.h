// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/tray/StatusItem.h"

#include <QIcon>
#include <QList>
#include <QPointer>

#include <QMenu>

namespace clipmule::kit {

/// A status area that a test looks at and clicks on. The items belong to who made them; the area
/// knows those that exist.
class FakeStatusBar final : public StatusBar {
public:
    class Item final : public StatusItem {
    public:
        Item(FakeStatusBar &bar, int givenLength)
            : length(givenLength)
            , _bar(bar) {
            _bar.items.append(this);
        }
        ~Item() override { _bar.items.removeAll(this); }

        void setName(const QString &given) override { name = given; }
        void setIcon(const QIcon &given) override {
            icon = given;
            ++icons;
        }
        void setMenu(QMenu *given) override { menu = given; }
        [[nodiscard]] bool popUpMenu() override {
            ++popUps;
            if (showsMenus && placesMenus)
                menu->popup(where.bottomLeft());
            return placesMenus;
        }
        void closeMenu() override {
            if (menu)
                menu->hide();
        }
        [[nodiscard]] Host host() const override { return is; }
        [[nodiscard]] QRect place() const override { return where; }

        /// The user clicks.
        void click() const { onClick(); }
        /// The desktop's status area comes, goes, or is another one.
        void setHost(Host host) {
            is = host;
            if (onHostChange)
                onHostChange();
        }

        QString name;
        QIcon icon;
        /// How often a picture was set.
        int icons = 0;
        QPointer<QMenu> menu;
        int popUps = 0;
        bool showsMenus = true;
        /// Whether a menu can be put under it at all.
        bool placesMenus = true;
        QRect where{600, 0, 29, 24};
        Host is = Host::Tray;
        int length;

    private:
        FakeStatusBar &_bar;
    };

    [[nodiscard]] std::unique_ptr<StatusItem> statusItemWithLength(int length) override {
        ++made;
        return std::make_unique<Item>(*this, length);
    }

    /// Those that exist now.
    QList<Item *> items;
    /// How many there were in all.
    int made = 0;
};

} // namespace clipmule::kit
