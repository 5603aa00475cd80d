// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/StatusItem.h"

namespace clipmule {

namespace {

class NullStatusItem final : public StatusItem {
public:
    void setDelegate(Delegate) override {}
    void setName(const QString &) override {}
    void setIcon(const QIcon &) override {}
    void setMenu(QMenu *) override {}
    void popUpMenu() override {}
    void closeMenu() override {}
    [[nodiscard]] Host host() const override { return Host::None; }
    [[nodiscard]] QRect place() const override { return {}; }
};

class NullStatusBar final : public StatusBar {
public:
    [[nodiscard]] std::unique_ptr<StatusItem> statusItemWithLength(int) override {
        return std::make_unique<NullStatusItem>();
    }
};

} // namespace

std::unique_ptr<StatusBar> makeNullStatusBar() {
    return std::make_unique<NullStatusBar>();
}

} // namespace clipmule
