// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/MemoryDistributedNotifications.h"

#include "platform/foundation/RunLoop.h"

namespace clipmule {

MemoryDistributedNotifications::MemoryDistributedNotifications()
    : MemoryDistributedNotifications(std::make_shared<Hub>()) {}

MemoryDistributedNotifications::MemoryDistributedNotifications(std::shared_ptr<Hub> hub)
    : _hub(std::move(hub)) {}

void MemoryDistributedNotifications::post(const QString &name, const QString &object,
                                          const PropertyList::Dictionary &userInfo) {
    _posted.append({name, object, userInfo});
    RunLoop::current().performSoon([observers = _hub->observers(name), object, userInfo] {
        ObservationTable::deliver(observers, object, userInfo);
    });
}

std::unique_ptr<DistributedNotifications::Observation>
MemoryDistributedNotifications::observe(const QString &name, Handler handler) {
    return _hub->observe(name, std::move(handler));
}

} // namespace clipmule
