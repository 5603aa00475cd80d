// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardTargets.h"

#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/Utf8.h"

#include <QHash>
#include <QRegularExpression>
#include <QSysInfo>

#include <algorithm>
#include <utility>

namespace clipmule {

namespace PasteboardTargets {

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
    {"audio/x-riff", Duplicate}, // what GTK calls WebP besides

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

bool isWebUrl(const QUrl &url) {
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == u"http" || url.scheme() == u"https");
}

bool isValidName(const QString &target) {
    return !target.isEmpty() && target.size() <= maximumNameLength &&
           std::all_of(target.begin(), target.end(),
                       [](QChar unit) { return unit >= u' ' && unit <= u'~'; });
}

namespace {

bool isThisHost(const QString &host) {
    return host.isEmpty() || host == u"localhost" ||
           host.compare(QSysInfo::machineHostName(), Qt::CaseInsensitive) == 0;
}

// Lines end in CR LF by the rules, in LF, in NUL or in nothing in practice.
QList<QByteArray> linesOfUriList(QByteArray data) {
    data.replace('\r', '\n').replace('\0', '\n');
    QList<QByteArray> lines;
    for (const QByteArray &line : data.split('\n')) {
        const QByteArray trimmed = line.trimmed();
        if (!trimmed.isEmpty() && !trimmed.startsWith('#'))
            lines.append(trimmed);
    }
    return lines;
}

void setOnce(std::optional<QByteArray> &reading, const QByteArray &data) {
    if (!reading)
        reading = data;
}

bool readUriList(const QByteArray &data, PasteboardContents &contents) {
    if (data.size() > maximumUriListBytes)
        return false;
    const QList<QByteArray> lines = linesOfUriList(data);
    if (lines.size() > maximumUriListLines)
        return false;
    QStringList files;
    std::optional<QUrl> web;
    for (const QByteArray &line : lines) {
        QUrl url = urlFromForeignText(QString::fromUtf8(line));
        if (url.isLocalFile() && isThisHost(url.host())) {
            url.setHost(QString());
            files.append(url.toLocalFile());
        } else if (!web && isWebUrl(url)) {
            web = url;
        }
    }
    if (contents.files.isEmpty())
        contents.files = files;
    if (!contents.url)
        contents.url = web;
    return web || !files.isEmpty();
}

// UTF-16: the URL, a line feed, its title.
bool readMozillaUrl(const QByteArray &data, PasteboardContents &contents) {
    if (data.size() > maximumUriListBytes)
        return false;
    QString text = QStringDecoder(QStringDecoder::Utf16)(data);
    while (text.endsWith(QChar(0)))
        text.chop(1);
    const QStringList lines = text.split(u'\n');
    const QUrl url = urlFromForeignText(lines.first().trimmed());
    if (!isWebUrl(url))
        return false;
    if (!contents.url)
        contents.url = url;
    const QString title = lines.value(1).trimmed();
    if (title != lines.first().trimmed() && title.size() <= longestTitle)
        contents.title = title;
    return true;
}

// Whether the bytes are what the meaning says.
bool read(Meaning meaning, const QByteArray &data, PasteboardContents &contents) {
    switch (meaning) {
    case Meaning::Text:
        setOnce(contents.text, data);
        return true;
    case Meaning::Html:
        setOnce(contents.html, data);
        return true;
    case Meaning::Rtf:
        setOnce(contents.rtf, data);
        return true;
    case Meaning::Image:
        if (contents.images.isEmpty())
            contents.images.append(data);
        return true;
    case Meaning::UriList:
        return readUriList(data, contents);
    case Meaning::MozillaUrl:
        return readMozillaUrl(data, contents);
    case Meaning::Other:
        return false;
    }
    return false;
}

} // namespace

QList<Request> requests(const QStringList &targets) {
    QList<Request> requests;
    for (const QString &target :
         targets.first(std::min<qsizetype>(targets.size(), maximumTargets))) {
        const auto [role, meaning, rank] = find(target);
        if (!isValidName(target) || (role != Role::Reading && role != Role::Native))
            continue;
        const auto same = std::find_if(
            requests.begin(), requests.end(), [&, &sought = meaning](const Request &one) {
                return sought == Meaning::Other ? one.targets.first() == target
                                                : one.meaning == sought;
            });
        if (same == requests.end())
            requests.append({meaning, {target}});
        else if (!same->targets.contains(target))
            same->targets.append(target);
    }
    for (Request &request : requests) {
        std::stable_sort(request.targets.begin(), request.targets.end(),
                         [](const QString &left, const QString &right) {
                             return find(left).rank < find(right).rank;
                         });
    }
    return requests;
}

QStringList leftOut(const QStringList &targets) {
    QStringList names;
    for (const QString &target :
         targets.first(std::min<qsizetype>(targets.size(), maximumTargets))) {
        const Role role = find(target).role;
        if ((role == Role::Duplicate || role == Role::Picture) && !names.contains(target))
            names.append(target);
    }
    return names;
}

PasteboardContents contents(const QList<Answer> &answers) {
    PasteboardContents contents;
    for (const auto &[meaning, target, data] : answers) {
        const bool isOther = data ? !read(meaning, *data, contents) : meaning == Meaning::Other;
        if (isOther && !contents.others.contains(target))
            contents.others.insert(target, data);
    }
    return contents;
}

} // namespace PasteboardTargets

namespace {

std::optional<QString> charsetOf(const QString &target) {
    static const QRegularExpression pattern(QStringLiteral("charset\\s*=\\s*\"?([^\";\\s]+)"),
                                            QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(target);
    return match.hasMatch() ? std::optional<QString>(match.captured(1).toLower()) : std::nullopt;
}

} // namespace

ClipboardText::ClipboardText(const QString &target, const QString &type) {
    const QString charset = charsetOf(type).value_or(charsetOf(target).value_or(QString()));
    const bool isLatin1 = charset == u"iso-8859-1" || charset == u"us-ascii";
    if (type == u"UTF8_STRING") {
        return;
    } else if (type == u"COMPOUND_TEXT" ||
               (target == u"COMPOUND_TEXT" && type != u"STRING" && !isLatin1)) {
        _encoding = Encoding::Compound;
    } else if (type == u"STRING" || target == u"STRING" || isLatin1) {
        _encoding = Encoding::Latin1;
    } else if (target == u"text/unicode" || charset == u"utf-16" || charset == u"utf-16le") {
        _utf16.emplace(QStringDecoder::Utf16LE);
    } else if (charset == u"utf-16be") {
        _utf16.emplace(QStringDecoder::Utf16BE);
    }
}

void ClipboardText::append(QByteArrayView bytes) {
    if (_encoding == Encoding::Latin1) {
        _utf8 += QString::fromLatin1(bytes).toUtf8();
        return;
    }
    if (_encoding == Encoding::Compound) {
        appendCompound(bytes);
        return;
    }
    QByteArray joined;
    if (_mayHaveMark) {
        _start += bytes;
        if (_start.size() < 2)
            return;
        _mayHaveMark = false;
        if (_start.startsWith("\xff\xfe"))
            _utf16.emplace(QStringDecoder::Utf16LE);
        else if (_start.startsWith("\xfe\xff"))
            _utf16.emplace(QStringDecoder::Utf16BE);
        joined = std::move(_start);
        bytes = joined;
    }
    if (!_utf16) {
        appendUtf8(bytes);
        return;
    }
    const QString text = (*_utf16)(bytes);
    _utf8 += text.toUtf8();
}

// What is well formed stays as it is: to make it UTF-16 and back takes several times as long.
void ClipboardText::appendUtf8(QByteArrayView bytes) {
    QByteArray joined = std::exchange(_tail, {});
    if (!joined.isEmpty())
        bytes = joined += bytes;
    const qsizetype incomplete = incompleteUtf8Tail(bytes);
    _tail = bytes.last(incomplete).toByteArray();
    bytes.chop(incomplete);
    if (bytes.isEmpty())
        return;
    const QByteArrayView mark("\xef\xbb\xbf");
    if (std::exchange(_mayHaveUtf8Mark, false) && bytes.startsWith(mark))
        bytes = bytes.sliced(mark.size());
    if (bytes.isValidUtf8()) {
        _utf8 += bytes;
        return;
    }
    // A mark that is not at the beginning is a character.
    const QString text =
        QStringDecoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom |
                                                 QStringDecoder::Flag::Stateless)(bytes);
    _utf8 += text.toUtf8();
}

QByteArray ClipboardText::take() {
    if (_mayHaveMark && !_start.isEmpty()) {
        if (_utf16) {
            const QString text = (*_utf16)(_start);
            _utf8 += text.toUtf8();
        } else {
            appendUtf8(_start);
        }
    }
    qsizetype size = _utf8.size();
    while (size > 0 && _utf8.at(size - 1) == '\0')
        --size;
    _utf8.truncate(size);
    return _utf8.isNull() ? QByteArray("") : std::move(_utf8);
}

// Two halves of the byte range, each with a character set that escape sequences exchange. ASCII,
// Latin-1 and UTF-8 are read; owners that have more to say offer UTF8_STRING as well.
void ClipboardText::appendCompound(QByteArrayView bytes) {
    constexpr char escape = '\x1b';
    constexpr qsizetype longestEscape = 4;
    QByteArray utf8;
    utf8.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        switch (_state) {
        case Compound::Text:
            if (byte == escape)
                _state = Compound::Escape;
            else if (byte >= 0 && (_lowerIsAscii || byte == '\n' || byte == '\t'))
                utf8 += byte;
            else if (byte < 0 && _upperIsLatin1)
                (utf8 += char(0xc0 | (quint8(byte) >> 6))) += char(0x80 | (byte & 0x3f));
            else
                utf8 += "\xef\xbf\xbd";
            break;
        case Compound::Utf8:
            if (byte == escape)
                _state = Compound::Utf8Escape;
            else
                utf8 += byte;
            break;
        case Compound::Escape:
        case Compound::Utf8Escape:
            _escape += byte;
            // Intermediate bytes, then a final one.
            if (byte < ' ' || byte > '/' || _escape.size() == longestEscape)
                endEscape();
            break;
        }
    }
    appendUtf8(utf8);
}

void ClipboardText::endEscape() {
    _state = _state == Compound::Utf8Escape ? Compound::Utf8 : Compound::Text;
    if (_escape == "%G")
        _state = Compound::Utf8;
    else if (_escape == "%@")
        _state = Compound::Text;
    else if (_escape.startsWith('('))
        _lowerIsAscii = _escape == "(B";
    else if (_escape.startsWith(')') || _escape.startsWith('-'))
        _upperIsLatin1 = _escape == "-A";
    else if (_escape.startsWith("$)"))
        _upperIsLatin1 = false;
    else if (_escape.startsWith('$'))
        _lowerIsAscii = false;
    _escape.clear();
}

} // namespace clipmule
