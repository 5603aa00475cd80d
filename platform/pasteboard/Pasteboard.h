// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"
#include "platform/pasteboard/PasteboardAudience.h"

#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

struct Session;

/// Names of representations as the program uses them. What the desktop calls them is known to the
/// backends only (PasteboardTypes.h).
namespace PasteboardType {
inline const QString NSStringPboardType = QStringLiteral("NSStringPboardType");
inline const QString NSRTFPboardType = QStringLiteral("NSRTFPboardType");
inline const QString NSRTFDPboardType = QStringLiteral("NSRTFDPboardType");
inline const QString NSTabularTextPboardType = QStringLiteral("NSTabularTextPboardType");
inline const QString NSMultipleTextSelectionPboardType =
    QStringLiteral("NSMultipleTextSelectionPboardType");
inline const QString NSInkTextPboardType = QStringLiteral("NSInkTextPboardType");
inline const QString NSTIFFPboardType = QStringLiteral("NSTIFFPboardType");
inline const QString NSPICTPboardType = QStringLiteral("NSPICTPboardType");
inline const QString NSFilenamesPboardType = QStringLiteral("NSFilenamesPboardType");
inline const QString NSURLPboardType = QStringLiteral("NSURLPboardType");
inline const QString publicTiff = QStringLiteral("public.tiff");
inline const QString publicPng = QStringLiteral("public.png");
inline const QString publicHtml = QStringLiteral("public.html");
inline const QString publicUrlName = QStringLiteral("public.url-name");
inline const QString applePict = QStringLiteral("com.apple.pict");
inline const QString applePng = QStringLiteral("Apple PNG pasteboard type");
} // namespace PasteboardType

/// Types by which a program says of its contents that they are not to be kept or passed on. A
/// backend finds them however many others there are.
namespace PasteboardMarker {
inline const QString generator = QStringLiteral("Pasteboard generator type");
inline const QString clipping = QStringLiteral("com.typeit4me.clipping");
inline const QString transient = QStringLiteral("org.nspasteboard.TransientType");
/// The mark that password managers set. It has a value; one of its values says that the contents
/// are secret.
inline const QString passwordHint = QStringLiteral("x-kde-passwordManagerHint");
inline const QStringList all{generator, clipping, transient, passwordHint};
} // namespace PasteboardMarker

/// The general pasteboard: the desktop's clipboard.
///
/// Reading is synchronous and touches nobody: it answers from the last complete snapshot, which a
/// backend fetches on its own after each change. An owner that never answers is not waited for.
///
/// Writing is staged: declareTypes() opens a new set of contents, the adding and setting calls fill
/// it, and commit() makes the whole of it the clipboard at once. Between declareTypes() and
/// commit() the reading calls answer from the staged contents.
class Pasteboard {
public:
    Pasteboard() = default;
    virtual ~Pasteboard() = default;
    Pasteboard(const Pasteboard &) = delete;
    Pasteboard &operator=(const Pasteboard &) = delete;
    Pasteboard(Pasteboard &&) = delete;
    Pasteboard &operator=(Pasteboard &&) = delete;

    /// Moves with every complete change of the contents, by others and by us. Cheap: a number.
    [[nodiscard]] virtual qint64 changeCount() const = 0;
    /// Moves when somebody has copied and then does not tell what, so that it is never read.
    [[nodiscard]] virtual qint64 unansweredCount() const { return 0; }
    /// The types in the owner's order, none twice; empty when there is nothing.
    [[nodiscard]] virtual QStringList types() const = 0;
    [[nodiscard]] virtual std::optional<QByteArray> dataForType(const QString &type) const = 0;
    /// The bytes of a type as text, where the type is text or holds text.
    [[nodiscard]] virtual std::optional<QString> stringForType(const QString &type) const = 0;
    /// The bytes of a type as a property list. File names are a list of absolute paths.
    [[nodiscard]] virtual std::optional<PropertyList>
    propertyListForType(const QString &type) const = 0;
    /// The URL reading of the contents.
    [[nodiscard]] virtual std::optional<QUrl> url() const = 0;

    virtual void declareTypes(const QStringList &types) = 0;
    virtual void addTypes(const QStringList &types) = 0;
    // Setting a type that was not declared or added declares it.
    virtual void setDataForType(const QByteArray &data, const QString &type) = 0;
    virtual void setStringForType(const QString &string, const QString &type) = 0;
    virtual void setPropertyListForType(const PropertyList &value, const QString &type) = 0;
    /// Writes the URL in the desktop's own form.
    virtual void writeUrl(const QUrl &url) = 0;
    /// Makes the staged contents the clipboard and moves the change count. Without a declareTypes()
    /// before it nothing happens. Throws PlatformException where there is no clipboard.
    virtual void commit() = 0;

    /// Whether anybody will read what others copy; nobody at first. While nobody will, no owner is
    /// asked for anything: the change count still moves with every change, but reading answers
    /// nothing, unless the contents are our own. It answers from the first change after
    /// setWatching(true).
    virtual void setWatching(bool watching) { Q_UNUSED(watching) }
    /// What others have copied was read and will not be read again: large contents may be let go.
    /// Reading answers nothing then, until the next change.
    virtual void releaseContents() {}
    /// Offers what we own as the selection, too, for a window that pastes the selection. Does
    /// nothing when the contents are not ours or the desktop knows no such thing.
    virtual void offerAsSelection() {}
    /// Before the program ends: what we own is handed to the desktop's clipboard manager, if there
    /// is one, for at most half a second. Calls back once, perhaps from inside this call.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): whoever overrides it keeps it.
    virtual void prepareToQuit(std::function<void()> done) { done(); }

    /// Which clipboard it is, for the status: "x11". "none" where there is none.
    [[nodiscard]] virtual QString description() const = 0;
};

/// The clipboard of the session's display, followed from now on; the null backend where there is
/// none or where it does not tell of changes. Needs an installed run loop. Never null. What is
/// listed follows the audience; without the function that is unknown.
[[nodiscard]] std::unique_ptr<Pasteboard> makePasteboard(const Session &session,
                                                         FindPasteboardAudience audience = {});

} // namespace clipmule
