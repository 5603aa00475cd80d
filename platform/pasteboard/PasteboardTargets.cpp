// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardTargets.h"

#include <QHash>
#include <QList>
#include <QStringList>

#include <algorithm>

namespace clipmule::PasteboardTargets {

namespace {

using enum Role;

struct Row {
    /// MIME types in lower case. An asterisk at the end stands for any ending; a name without one
    /// is that of a MIME type with parameters, too. A whole name goes before a beginning, a long
    /// beginning before a short one.
    const char *name;
    Role role;
    Meaning meaning = Meaning::Other;
};

// Everything that is not here is Native. Of the names of one meaning the best stands first.
constexpr Row table[] = {
    // Plain text. The MIME types come later because GTK makes CR LF of their line ends, the old
    // names last because they lose characters.
    {"UTF8_STRING", Reading, Meaning::Text},
    {"text/plain;charset=utf-8", Reading, Meaning::Text},
    {"text/plain;charset=\"utf-8\"", Reading, Meaning::Text},
    {"text/unicode", Reading, Meaning::Text},
    {"text/plain;*", Reading, Meaning::Text},
    {"text/plain", Reading, Meaning::Text},
    {"STRING", Reading, Meaning::Text},
    {"TEXT", Reading, Meaning::Text},
    {"COMPOUND_TEXT", Reading, Meaning::Text},
    // Cells with tabs in between, in UTF-16.
    {"application/x-libreoffice-tsvc", Duplicate},

    // Styled text. Office suites say text/richtext for RTF.
    {"text/html", Reading, Meaning::Html},
    {"text/rtf", Reading, Meaning::Rtf},
    {"application/rtf", Reading, Meaning::Rtf},
    {"application/x-rtf", Reading, Meaning::Rtf},
    {"text/richtext", Reading, Meaning::Rtf},
    {"application/x-moz-nativehtml", Duplicate},

    // Raster images: lossless and wide-spread first, in the end what a program draws for itself.
    {"image/png", Reading, Meaning::Image},
    {"image/tiff", Reading, Meaning::Image},
    {"image/jpeg", Reading, Meaning::Image},
    {"image/webp", Reading, Meaning::Image},
    {"image/gif", Reading, Meaning::Image},
    {"image/bmp", Reading, Meaning::Image},
    {"image/*", Reading, Meaning::Image},
    {"application/ico", Reading, Meaning::Image},
    {"text/ico", Reading, Meaning::Image},
    {"application/x-openoffice-bitmap", Reading, Meaning::Image},

    // Drawings travel as SVG or as the document that they are part of.
    {"image/svg*", Native},
    {"image/svg+xml-compressed", Duplicate},
    {"image/x-inkscape-svg*", Duplicate},
    // An export of the same, each made by a program of its own while we wait.
    {"application/tar", Duplicate},
    {"application/x-xcf", Duplicate},
    {"application/x-zip", Duplicate},
    {"image/dxf", Duplicate},
    {"image/hpgl", Duplicate},
    {"image/sif", Duplicate},
    {"image/x-e-postscript", Duplicate},
    {"image/x-postscript", Duplicate},
    {"text/x-povray-script", Duplicate},
    {"text/x-tex", Duplicate},
    {"text/xml+fxg", Duplicate},
    {"text/xml+xaml", Duplicate},
    {"image/emf", Picture},
    {"image/x-emf", Picture},
    {"image/wmf", Picture},
    {"image/x-wmf", Picture},
    {"image/pict", Picture},
    {"image/x-pict", Picture},
    {"application/emf", Picture},
    {"application/x-emf", Picture},
    {"application/wmf", Picture},
    {"application/x-wmf", Picture},
    {"application/x-msmetafile", Picture},
    {"application/x-openoffice-emf", Picture},
    {"application/x-openoffice-wmf", Picture},
    {"application/x-openoffice-gdimetafile", Picture},
    {"application/x-openoffice-highcontrast-gdimetafile", Picture},
    {"application/x-openoffice-svxb", Picture}, // a bitmap with its masks

    // Cells as the calculators of the eighties exchanged them; HTML and the document have it all.
    {"application/x-openoffice-sylk", Duplicate},
    {"application/x-openoffice-dif", Duplicate},

    // Files and links.
    {"text/uri-list", Reading, Meaning::UriList},
    {"application/x-kde4-urilist", Reading, Meaning::UriList},
    {"x-special/gnome-copied-files", Reading, Meaning::UriList},
    {"x-special/mate-copied-files", Reading, Meaning::UriList},
    {"text/x-moz-url", Reading, Meaning::MozillaUrl},
    {"text/x-moz-url-data", Duplicate},
    {"text/x-moz-url-desc", Duplicate},
    {"_NETSCAPE_URL", Duplicate},

    // Where it was copied from. Some of these say themselves that they are private; the context
    // of copied HTML is the page around it.
    {"application/x-openoffice-link*", Origin},
    {"application/x-openoffice-objectdescriptor*", Origin},
    {"chromium/x-internal-*", Origin},
    {"chromium/x-source-url", Origin},
    {"text/_moz_htmlcontext", Origin},
    {"text/_moz_htmlinfo", Origin},
    {"text/x-moz-url-priv", Origin},
    {"FILE_NAME", Origin},
    // Names from programs that were made for another system: the document, and the place in it.
    {"Link Source", Origin},
    {"Link Source Descriptor", Origin},
    {"OBJECTLINK", Origin},
    {"OWNERLINK", Origin},
    {"Object Descriptor", Origin},
    {"ObjectLink", Origin},
    {"OwnerLink", Origin},

    // What only its own program or session can use.
    {"GTK_TEXT_BUFFER_CONTENTS", Session},
    {"application/vnd.portal.files", Session},
    {"application/vnd.portal.filetransfer", Session},
    {"application/x-gtk-text-buffer-rich-text", Session},
    {"application/x-kde-ark-dndextract-*", Session}, // addresses on the session's bus
    {"application/x-libreoffice-internal-id-*", Session},
    {"application/x-openoffice-internal-id-*", Session},
    {"application/x-moz-file*", Session},
    {"application/x-moz-nativeimage", Session},
    {"application/x-qabstractitemmodeldatalist", Session},
    {"application/x-qt-image", Session},
    {"chromium/x-renderer-taint", Session},

    // The selection protocol.
    {"TARGETS", Protocol},
    {"MULTIPLE", Protocol},
    {"TIMESTAMP", Protocol},
    {"SAVE_TARGETS", Protocol},
    {"DELETE", Protocol},
    {"INSERT_PROPERTY", Protocol},
    {"INSERT_SELECTION", Protocol},
    {"INCR", Protocol},
    {"ATOM_PAIR", Protocol},
    // About the owner, its user and its computer.
    {"BACKGROUND", Protocol},
    {"CHARACTER_POSITION", Protocol},
    {"CLASS", Protocol},
    {"CLIENT_WINDOW", Protocol},
    {"COLUMN_NUMBER", Protocol},
    {"FOREGROUND", Protocol},
    {"HOSTNAME", Protocol},
    {"HOST_NAME", Protocol},
    {"IP_ADDRESS", Protocol},
    {"LENGTH", Protocol},
    {"LINE_NUMBER", Protocol},
    {"LIST_LENGTH", Protocol},
    {"MODULE", Protocol},
    {"NAME", Protocol},
    {"OWNER_OS", Protocol},
    {"PROCEDURE", Protocol},
    {"PROCESS", Protocol},
    {"SPAN", Protocol},
    {"TASK", Protocol},
    {"USER", Protocol},
    // Its resources in the display server.
    {"BITMAP", Protocol},
    {"COLORMAP", Protocol},
    {"DRAWABLE", Protocol},
    {"PIXMAP", Protocol},
};

class Table {
public:
    Table() {
        for (const Row &row : table) {
            const QString name = QString::fromLatin1(row.name);
            const Target target{row.role, row.meaning, int(&row - table)};
            if (name.endsWith(u'*'))
                _beginnings.append({name.chopped(1), target});
            else
                _names.insert(name, target);
        }
        std::sort(_beginnings.begin(), _beginnings.end(), [](const auto &left, const auto &right) {
            return left.first.size() > right.first.size();
        });
    }

    [[nodiscard]] Target find(const QString &name) const {
        if (const auto whole = _names.constFind(name); whole != _names.cend())
            return *whole;
        for (const auto &[beginning, target] : _beginnings) {
            if (name.startsWith(beginning))
                return target;
        }
        // Some owners add the name of the contents after a semicolon.
        return _names.value(name.section(u';', 0, 0));
    }

private:
    QHash<QString, Target> _names;
    QList<std::pair<QString, Target>> _beginnings;
};

// An atom's name is counted with 16 bits; no real target's is longer than this.
constexpr qsizetype maximumNameLength = 255;

} // namespace

Target find(const QString &target) {
    static const Table all;
    // The case of a MIME type means nothing, that of other names does.
    return all.find(target.contains(u'/') ? target.toLower() : target);
}

bool isNobodysBusiness(const QString &target) {
    switch (find(target).role) {
    case Protocol:
    case Session:
    case Origin:
        return true;
    case Reading:
    case Native:
    case Duplicate:
    case Picture:
        return false;
    }
    return true;
}

bool namesFiles(const QString &target) {
    // "text/uri-list", "application/x-kde4-urilist", "x-special/gnome-copied-files",
    // "x-special/nautilus-clipboard", "application/x-kde-cutselection", "text/x-moz-url-data",
    // "application/x-moz-file", "_NETSCAPE_URL", "FILE_NAME"
    static const QStringList parts{
        QStringLiteral("uri-list"),     QStringLiteral("urilist"),
        QStringLiteral("copied-files"), QStringLiteral("x-special/"),
        QStringLiteral("cutselection"), QStringLiteral("moz-url"),
        QStringLiteral("moz-file"),     QStringLiteral("netscape"),
        QStringLiteral("file_name"),    QStringLiteral("file-list"),
        QStringLiteral("filenames"),    QStringLiteral("file-url"),
    };
    const QString lower = target.toLower();
    return std::any_of(parts.begin(), parts.end(),
                       [&](const QString &part) { return lower.contains(part); });
}

bool isValidName(const QString &target) {
    return !target.isEmpty() && target.size() <= maximumNameLength &&
           std::all_of(target.begin(), target.end(),
                       [](QChar unit) { return unit >= u' ' && unit <= u'~'; });
}

} // namespace clipmule::PasteboardTargets
