// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/MemoryDistributedNotifications.h"

#include "platform/foundation/RunLoop.h"

namespace clipmule::kit {

MemoryDistributedNotifications::MemoryDistributedNotifications()
    : MemoryDistributedNotifications(std::make_shared<Hub>()) {}

MemoryDistributedNotifications::MemoryDistributedNotifications(std::shared_ptr<Hub> hub)
    : _hub(std::move(hub)) {
    _hub->append(this);
}

MemoryDistributedNotifications::~MemoryDistributedNotifications() {
    _hub->removeOne(this);
}

void MemoryDistributedNotifications::post(const QString &name, const QString &object,
                                          const PropertyList::Dictionary &userInfo) {
    _posted.append({name, object, userInfo});
    QList<std::function<void()>> deliveries;
    for (const MemoryDistributedNotifications *end : *_hub)
        deliveries.append(end->delivery(name, object, userInfo));
    RunLoop::current().performSoon([deliveries] {
        for (const auto &deliver : deliveries)
            deliver();
    });
}

} // namespace clipmule::kit
