// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/images/ImageCodec.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/PasteboardReadings.h"
#include "platform/pasteboard/PasteboardTargets.h"

#include <QSet>
#include <QStringEncoder>

#include <algorithm>

namespace clipmule::PasteboardTypes {

namespace {

const QString pngTarget = QStringLiteral("image/png");

bool isLatin1(const QString &text) {
    return std::all_of(text.begin(), text.end(), [](QChar unit) { return unit.unicode() < 0x100; });
}

bool isOfTheWeb(const QUrl &url) {
    return !url.host().isEmpty() && (url.scheme() == u"http" || url.scheme() == u"https");
}

// A file manager that is pasted a list makes files of its entries, and these run when they are
// opened, or point to what does.
bool namesAProgram(const QUrl &url) {
    static const QSet<QString> endings{
        QStringLiteral("appimage"), QStringLiteral("bash"),       QStringLiteral("bat"),
        QStringLiteral("bin"),      QStringLiteral("cmd"),        QStringLiteral("com"),
        QStringLiteral("deb"),      QStringLiteral("desktop"),    QStringLiteral("directory"),
        QStringLiteral("exe"),      QStringLiteral("flatpakref"), QStringLiteral("flatpakrepo"),
        QStringLiteral("jar"),      QStringLiteral("js"),         QStringLiteral("lnk"),
        QStringLiteral("msi"),      QStringLiteral("pl"),         QStringLiteral("ps1"),
        QStringLiteral("py"),       QStringLiteral("rb"),         QStringLiteral("rpm"),
        QStringLiteral("run"),      QStringLiteral("scr"),        QStringLiteral("sh"),
        QStringLiteral("snap"),     QStringLiteral("url"),        QStringLiteral("vbs"),
        QStringLiteral("webloc"),   QStringLiteral("wsf"),        QStringLiteral("zsh"),
    };
    QString name = url.fileName(QUrl::FullyDecoded).toLower();
    while (name.endsWith(u'.') || name.endsWith(u' '))
        name.chop(1);
    return endings.contains(name.section(u'.', -1));
}

// Schemes that a pasted link may have: those that only show something or begin a letter or a call.
bool isForAnchors(const QUrl &url) {
    static const QStringList schemes{QStringLiteral("http"), QStringLiteral("https"),
                                     QStringLiteral("mailto"), QStringLiteral("tel")};
    return schemes.contains(url.scheme());
}

// The HTML is all ASCII and says nothing of its encoding, which readers would guess differently.
QString escapedHtml(const QString &text) {
    QString html;
    for (const char32_t character : text.toHtmlEscaped().toUcs4()) {
        if (character < 0x80)
            html += QChar(char16_t(character));
        else
            html += QStringLiteral("&#%1;").arg(uint(character));
    }
    return html;
}

struct Link {
    QUrl url;
    QString address;
    QString text;  // on one line
    QString title; // on one line
    bool isPartOfText = false;
};

std::optional<Link> linkIn(const PasteboardContents &contents) {
    const auto data = contents.data(PasteboardType::NSURLPboardType);
    const auto url = data ? PasteboardReadings::url(*data) : std::nullopt;
    if (!url)
        return std::nullopt;
    Link link{*url, QString::fromLatin1(url->toEncoded()), {}, {}};
    if (const auto string = contents.data(PasteboardType::NSStringPboardType)) {
        const QString text = QString::fromUtf8(*string).trimmed();
        // A link in place of several lines would lose them.
        link.isPartOfText = text.contains(u'\n') || text.contains(u'\r');
        link.text = text;
    }
    if (const auto name = contents.data(PasteboardType::publicUrlName))
        link.title = QString::fromUtf8(*name).simplified();
    if (link.title.isEmpty())
        link.title = link.text.isEmpty() ? link.address : link.text;
    if (link.text.isEmpty())
        link.text = link.title;
    return link;
}

class OfferBuilder {
public:
    explicit OfferBuilder(const PasteboardContents &contents)
        : _contents(contents) {
        if (const auto data = contents.data(PasteboardType::NSFilenamesPboardType))
            _files = PasteboardReadings::fileNames(*data);
    }

    QList<Offer> build() {
        for (const PasteboardContents::Representation &representation :
             _contents.representations()) {
            if (representation.data)
                add(representation.type, *representation.data);
        }
        addImages();
        // A name of our own making goes before one that was stored under the same name.
        for (const auto &[target, data] : _others)
            offer(target, data, {}, true);
        return std::move(_offers);
    }

private:
    void add(const QString &type, const QByteArray &data) {
        if (type == PasteboardType::NSStringPboardType)
            addText(QString::fromUtf8(data));
        else if (type == PasteboardType::publicHtml)
            offer(QStringLiteral("text/html"), data);
        else if (type == PasteboardType::NSRTFPboardType)
            addRtf(data);
        else if (isImage(type))
            _images.insert(isTiff(type) ? _images.size() : 0, data);
        else if (type == PasteboardType::NSFilenamesPboardType)
            addFiles();
        else if (type == PasteboardType::NSURLPboardType)
            addUrl();
        else if (type != PasteboardType::publicUrlName && _others.size() < maximumTargets &&
                 isPassedOn(type))
            _others.append({type, data});
    }

    void addText(const QString &text) {
        const QByteArray utf8 = text.toUtf8();
        offer(QStringLiteral("text/plain;charset=utf-8"), utf8);
        offer(QStringLiteral("UTF8_STRING"), utf8);
        offer(QStringLiteral("text/plain"), utf8);
        if (isLatin1(text)) {
            const QByteArray latin1 = text.toLatin1();
            offer(QStringLiteral("STRING"), latin1);
            offer(QStringLiteral("TEXT"), latin1, QStringLiteral("STRING"));
        } else {
            offer(QStringLiteral("TEXT"), utf8, QStringLiteral("UTF8_STRING"));
        }
    }

    void addRtf(const QByteArray &data) {
        offer(QStringLiteral("text/rtf"), data);
        offer(QStringLiteral("application/rtf"), data);
    }

    static bool isTiff(const QString &type) {
        return type == PasteboardType::NSTIFFPboardType || type == PasteboardType::publicTiff;
    }
    static bool isImage(const QString &type) {
        return isTiff(type) || type == PasteboardType::publicPng ||
               type == PasteboardType::applePng;
    }

    // Images are offered under the names of what they are: their types' names say nothing about
    // their bytes. Many programs paste PNG and nothing else.
    void addImages() {
        for (const QByteArray &data : std::as_const(_images)) {
            const QString type = imageTypeOf(data);
            if (!type.isEmpty())
                offer(type, data);
        }
        if (isOffered(pngTarget))
            return;
        const auto image =
            std::find_if(_images.cbegin(), _images.cend(), [](const QByteArray &data) {
                return !imageTypeOf(data).isEmpty() || ImageCodec::describe(data);
            });
        if (image != _images.cend())
            append({.target = pngTarget, .type = pngTarget, .data = *image, .isConverted = true});
    }

    // Files are offered in two forms: some file managers take only the one, some only the other.
    void addFiles() {
        if (_files.isEmpty())
            return;
        QByteArray list;
        QByteArray copied = "copy";
        for (const QString &file : std::as_const(_files)) {
            const QByteArray uri = QUrl::fromLocalFile(file).toEncoded();
            list += uri + "\r\n";
            copied += '\n' + uri;
        }
        using enum PasteboardAudience;
        // Where the image itself is pasted, a file does harm: a spreadsheet pastes nothing, an
        // editor writes down the path.
        const bool hasImage =
            std::any_of(_contents.representations().cbegin(), _contents.representations().cend(),
                        [](const auto &one) { return isImage(one.type); });
        const auto notFor = hasImage ? QList{Spreadsheet, Other} : QList<PasteboardAudience>();
        const QString target = QStringLiteral("text/uri-list");
        append(
            {.target = target, .type = target, .data = list, .isOfFiles = true, .notFor = notFor});
        const QString ofFileManagers = QStringLiteral("x-special/gnome-copied-files");
        append(
            {.target = ofFileManagers, .type = ofFileManagers, .data = copied, .isOfFiles = true});
    }

    // A URL is never offered as text/uri-list, though that is the name of URLs among MIME types:
    // rich text fields see a file in it, text documents link themselves to the address, file
    // managers fetch it.
    void addUrl() {
        const std::optional<Link> link = linkIn(_contents);
        if (!link)
            return;
        // Programs that are made with Qt take this target for a list of files, and the file
        // managers among them download what it leads to.
        if (!link->isPartOfText && isOfTheWeb(link->url) && !namesAProgram(link->url)) {
            QStringEncoder utf16(QStringEncoder::Utf16LE);
            const QString target = QStringLiteral("text/x-moz-url");
            append({.target = target,
                    .type = target,
                    .data = utf16(link->address + u'\n' + link->title),
                    .notFor = {PasteboardAudience::FileManager}});
        }
        if (const auto html = anchor(_contents))
            addLinkInHtml(*html);
        if (!_contents.data(PasteboardType::NSStringPboardType))
            addText(link->address);
    }

    // Spreadsheets get no HTML: they would ask the user in which language it is to be read.
    void addLinkInHtml(const QByteArray &html) {
        const QString target = QStringLiteral("text/html");
        append({.target = target,
                .type = target,
                .data = html,
                .notFor = {PasteboardAudience::Spreadsheet}});
    }

    [[nodiscard]] static bool isPassedOn(const QString &target) {
        return PasteboardTargets::isValidName(target) &&
               !PasteboardTargets::isNobodysBusiness(target) &&
               !PasteboardTargets::namesFiles(target);
    }

    void offer(const QString &target, const QByteArray &data, const QString &type = {},
               bool isForeign = false) {
        append({target, type.isEmpty() ? target : type, data, isForeign});
    }

    void append(const Offer &offer) {
        if (!isOffered(offer.target) && _offers.size() < maximumTargets)
            _offers.append(offer);
    }

    [[nodiscard]] bool isOffered(const QString &target) const {
        return std::any_of(_offers.cbegin(), _offers.cend(),
                           [&](const Offer &offered) { return offered.target == target; });
    }

    struct Named {
        QString target;
        QByteArray data;
    };
    const PasteboardContents &_contents;
    QStringList _files;
    QList<QByteArray> _images;
    QList<Named> _others;
    QList<Offer> _offers;
};

} // namespace

QList<Offer> offers(const PasteboardContents &contents) {
    return OfferBuilder(contents).build();
}

std::optional<QByteArray> anchor(const PasteboardContents &contents) {
    const std::optional<Link> link = linkIn(contents);
    if (!link || link->isPartOfText || !isForAnchors(link->url) ||
        contents.data(PasteboardType::publicHtml))
        return std::nullopt;
    return "<a href=\"" + escapedHtml(link->address).toLatin1() + "\">" +
           escapedHtml(link->text).toLatin1() + "</a>";
}

QString imageTypeOf(const QByteArray &data) {
    if (data.startsWith("\x89PNG\r\n\x1a\n"))
        return pngTarget;
    if (data.startsWith("\xff\xd8\xff"))
        return QStringLiteral("image/jpeg");
    if (data.startsWith(QByteArrayView("II*\0", 4)) || data.startsWith(QByteArrayView("MM\0*", 4)))
        return QStringLiteral("image/tiff");
    if (data.startsWith("GIF87a") || data.startsWith("GIF89a"))
        return QStringLiteral("image/gif");
    if (data.startsWith("RIFF") && data.mid(8, 4) == "WEBP")
        return QStringLiteral("image/webp");
    if (data.startsWith("BM"))
        return QStringLiteral("image/bmp");
    return {};
}

} // namespace clipmule::PasteboardTypes
