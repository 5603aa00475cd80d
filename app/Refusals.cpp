// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/Refusals.h"

#include <algorithm>

namespace clipmule {

bool Refusals::add(Refusal refusal) {
    const auto sourceOf = [](const Refusal &one) {
        return Source{one.direction, one.reason, one.kind, one.phone};
    };
    const Source source = sourceOf(refusal);
    refusal.date = Date::now();
    const auto same = std::find_if(_newestFirst.begin(), _newestFirst.end(),
                                   [&](const Refusal &one) { return sourceOf(one) == source; });
    // Each copy is a matter of its own, unless nothing else happened in between.
    const bool repeats =
        same != _newestFirst.end() &&
        (refusal.direction != Refusal::Direction::CopiedHere || same == _newestFirst.begin());
    if (repeats) {
        refusal.count += same->count;
        _newestFirst.erase(same);
    }
    _newestFirst.prepend(refusal);
    while (_newestFirst.size() > mostKept)
        _newestFirst.removeLast();
    std::erase_if(_told, [&](const auto &entry) {
        return std::none_of(_newestFirst.begin(), _newestFirst.end(),
                            [&](const Refusal &one) { return sourceOf(one) == entry.first; });
    });

    const RunLoop::Seconds now = RunLoop::current().now();
    const auto told = _told.find(source);
    if (refusal.direction != Refusal::Direction::CopiedHere && told != _told.end() &&
        now - told->second < noticeInterval)
        return false;
    _told[source] = now;
    return true;
}

} // namespace clipmule
