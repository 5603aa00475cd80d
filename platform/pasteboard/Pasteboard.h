// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Callbacks.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

struct Session;

/// What a clipboard holds, by what it means. A value; a copy shares the bytes.
struct PasteboardContents {
    /// UTF-8, as the HTML of other programs is.
    std::optional<QByteArray> text;
    std::optional<QByteArray> html;
    std::optional<QByteArray> rtf;
    /// Encoded images, the one to be taken first; of another program there is one at most.
    QList<QByteArray> images;
    /// Absolute paths.
    QStringList files;
    std::optional<QUrl> url;
    /// What the URL is called; empty when that is not told.
    QString title;
    /// Everything else by the name that it came under. Without bytes where the owner names it and
    /// they were not fetched, or not answered.
    QMap<QString, std::optional<QByteArray>> others;

    [[nodiscard]] bool isEmpty() const { return *this == PasteboardContents(); }
    /// The bytes of all of it.
    [[nodiscard]] qint64 size() const;
    friend bool operator==(const PasteboardContents &, const PasteboardContents &) = default;
};

/// Names among the others by which a program says of its contents that they are not to be kept or
/// passed on. A backend finds them however many others there are.
namespace PasteboardMarker {
inline const QString generator = QStringLiteral("Pasteboard generator type");
inline const QString clipping = QStringLiteral("com.typeit4me.clipping");
inline const QString transient = QStringLiteral("org.nspasteboard.TransientType");
/// The mark that password managers set. It has a value; one of its values says that the contents
/// are secret.
inline const QString passwordHint = QStringLiteral("x-kde-passwordManagerHint");
inline const QStringList all{generator, clipping, transient, passwordHint};
} // namespace PasteboardMarker

/// Who looks at what we offer: the program in front, as far as it is known. Programs take the first
/// form that they know, and what suits one does harm in another.
enum class PasteboardAudience { Unknown, FileManager, Spreadsheet, Other };

/// Asked, while the clipboard is ours, whenever somebody asks for a list of what there is, and
/// something of it is not for everybody.
using FindPasteboardAudience = std::function<PasteboardAudience()>;

/// The general pasteboard: the desktop's clipboard.
///
/// Reading is synchronous and touches nobody: it answers from the last complete snapshot, which a
/// backend fetches on its own after each change. An owner that never answers is not waited for.
class Pasteboard {
public:
    Pasteboard() = default;
    virtual ~Pasteboard() = default;
    Pasteboard(const Pasteboard &) = delete;
    Pasteboard &operator=(const Pasteboard &) = delete;
    Pasteboard(Pasteboard &&) = delete;
    Pasteboard &operator=(Pasteboard &&) = delete;

    /// What others did has moved the change count or the unanswered count. Called from the run
    /// loop, never from inside a call to this object, so not for what write() and setWatching() do.
    /// May call everything here but the destructor.
    std::function<void()> onChange;

    /// Moves with every complete change of the contents, by others and by us. Cheap: a number.
    [[nodiscard]] qint64 changeCount() const { return _changeCount; }
    /// Moves when somebody has copied and then does not tell what, so that it is never read.
    [[nodiscard]] qint64 unansweredCount() const { return _unansweredCount; }
    /// Valid until the next change or releaseContents(). A backend may raise a PlatformException.
    [[nodiscard]] virtual const PasteboardContents &contents() const { return _contents; }

    /// Makes this the clipboard, all at once, and moves the change count. What has no bytes is left
    /// out. Throws PlatformException where there is no clipboard.
    virtual void write(PasteboardContents contents);

    /// Whether anybody will read what others copy; nobody at first. While nobody will, no owner is
    /// asked for anything: the change count still moves with every change, but reading answers
    /// nothing, unless the contents are our own. It answers from the first change after
    /// setWatching(true).
    virtual void setWatching(bool watching) { Q_UNUSED(watching) }
    /// What others have copied was read and will not be read again: more than a megabyte of it is
    /// let go; less is not worth it. Reading answers nothing then, until the next change.
    virtual void releaseContents();
    /// Offers what we own as the selection, too, for a window that pastes the selection. Does
    /// nothing when the contents are not ours or the desktop knows no such thing.
    virtual void offerAsSelection() {}
    /// Another program may look at what we offer now. Matters where a list is made once and not for
    /// each who asks.
    virtual void audienceChanged() {}
    /// Before the program ends: what we own is handed to the desktop's clipboard manager, if there
    /// is one, for at most half a second. Calls back once, perhaps from inside this call.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): whoever overrides it keeps it.
    virtual void prepareToQuit(std::function<void()> done) { done(); }

    /// Whether the desktop lets us read and write it, by what has happened: not before it has
    /// answered, and no more when it has taken that back.
    [[nodiscard]] bool isAccessible() const { return _isAccessible; }
    /// Called when that has changed.
    std::function<void()> onAccessChange;

    /// Which clipboard it is, for the status: "x11", or "xwayland" where that is only part of a
    /// compositor's. "none" where there is none.
    [[nodiscard]] virtual QString description() const = 0;

protected:
    /// Whether the contents are what we wrote: others read them from us.
    [[nodiscard]] virtual bool ownsContents() const = 0;
    /// Makes the written contents the desktop's clipboard. They are already what reading answers,
    /// and the change count has moved.
    virtual void publish() = 0;

    void setContents(PasteboardContents contents) { _contents = std::move(contents); }
    void moveChangeCount() { ++_changeCount; }
    void moveUnansweredCount() { ++_unansweredCount; }
    void setAccessible(bool isAccessible);
    /// For the backend, when it has done with what has moved a count.
    void tellChange() { callCopyOf(onChange); }

private:
    PasteboardContents _contents;
    qint64 _changeCount = 0;
    qint64 _unansweredCount = 0;
    bool _isAccessible = false;
};

/// The clipboard of the session's display, followed from now on. Where there is none, or none that
/// tells of changes: one that is always empty and says so once, at the first use; as what is
/// written there would be gone, write() throws, so that whoever sent it is not told that it was
/// pasted. Needs an installed run loop. Never null. What is listed follows the audience; without
/// the function that is unknown.
[[nodiscard]] std::unique_ptr<Pasteboard> makePasteboard(const Session &session,
                                                         FindPasteboardAudience audience = {});

} // namespace clipmule
