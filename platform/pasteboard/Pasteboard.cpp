// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/Pasteboard.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/mutter/MutterDataControl.h"
#include "platform/pasteboard/backends/wayland/WaylandPasteboard.h"
#include "platform/pasteboard/backends/x11/X11Pasteboard.h"
#include "platform/session/Session.h"

#include <utility>

namespace clipmule {

namespace {

class NullPasteboard final : public Pasteboard {
public:
    [[nodiscard]] const PasteboardContents &contents() const override {
        sayOnce();
        return Pasteboard::contents();
    }
    void write(PasteboardContents) override {
        sayOnce();
        throw PlatformException(QStringLiteral("PasteboardFailure"),
                                QStringLiteral("there is no clipboard in this session"));
    }
    [[nodiscard]] QString description() const override { return QStringLiteral("none"); }

protected:
    [[nodiscard]] bool ownsContents() const override { return false; }
    void publish() override {}

private:
    void sayOnce() const {
        if (!std::exchange(_said, true))
            qCWarning(logPasteboard, "no clipboard can be reached in this session: nothing is "
                                     "copied from or to it");
    }

    mutable bool _said = false;
};

} // namespace

qint64 PasteboardContents::size() const {
    qint64 size = text.value_or(QByteArray()).size() + html.value_or(QByteArray()).size() +
                  rtf.value_or(QByteArray()).size() + files.join(u'\0').size() + title.size();
    if (url)
        size += url->toEncoded().size();
    for (const QByteArray &image : images)
        size += image.size();
    for (const std::optional<QByteArray> &data : others)
        size += data ? data->size() : 0;
    return size;
}

void Pasteboard::write(PasteboardContents contents) {
    contents.others.removeIf([](const auto &other) { return !other.value(); });
    _contents = std::move(contents);
    moveChangeCount();
    publish();
}

void Pasteboard::releaseContents() {
    constexpr qint64 largestKept = 1024 * 1024;
    if (_contents.size() > largestKept && !ownsContents())
        setContents({});
}

void Pasteboard::setAccessible(bool isAccessible) {
    if (std::exchange(_isAccessible, isAccessible) != isAccessible && onAccessChange)
        onAccessChange();
}

std::unique_ptr<Pasteboard> makePasteboard(const Session &session,
                                           FindPasteboardAudience audience) {
    if (auto control = WaylandDataControl::make(session.wayland))
        return std::make_unique<WaylandPasteboard>(std::move(control), std::move(audience));
    if (session.mutter) {
        auto control = std::make_unique<MutterDataControl>(session.mutter);
        return std::make_unique<WaylandPasteboard>(std::move(control), std::move(audience));
    }
    if (!session.x11 || !hasX11PasteboardSupport(*session.x11))
        return std::make_unique<NullPasteboard>();
    auto pasteboard = std::make_unique<X11Pasteboard>(
        session.x11, std::move(audience),
        session.wayland ? X11Pasteboard::Whose::Compositors : X11Pasteboard::Whose::Servers);
    pasteboard->start();
    return pasteboard;
}

} // namespace clipmule
