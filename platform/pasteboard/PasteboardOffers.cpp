// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardOffers.h"

#include "platform/images/ImageCodec.h"
#include "platform/pasteboard/PasteboardTargets.h"

#include <QSet>
#include <QStringEncoder>

#include <algorithm>

namespace clipmule::PasteboardOffers {

using PasteboardTargets::isWebUrl;
using PasteboardTargets::maximumTargets;

namespace {

const QString pngTarget = QStringLiteral("image/png");

bool isLatin1(const QString &text) {
    return std::all_of(text.begin(), text.end(), [](QChar unit) { return unit.unicode() < 0x100; });
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
    if (!contents.url)
        return std::nullopt;
    Link link{*contents.url, QString::fromLatin1(contents.url->toEncoded()), {}, {}};
    link.text = QString::fromUtf8(contents.text.value_or(QByteArray())).trimmed();
    // A link in place of several lines would lose them.
    link.isPartOfText = link.text.contains(u'\n') || link.text.contains(u'\r');
    link.title = contents.title.simplified();
    if (link.title.isEmpty())
        link.title = link.text.isEmpty() ? link.address : link.text;
    if (link.text.isEmpty())
        link.text = link.title;
    return link;
}

class OfferBuilder {
public:
    explicit OfferBuilder(const PasteboardContents &contents)
        : _contents(contents) {}

    QList<Offer> build() {
        addFiles();
        if (_contents.rtf) {
            offer(QStringLiteral("text/rtf"), *_contents.rtf);
            offer(QStringLiteral("application/rtf"), *_contents.rtf);
        }
        if (_contents.text)
            addText(QString::fromUtf8(*_contents.text));
        addUrl();
        if (_contents.html)
            offer(QStringLiteral("text/html"), *_contents.html);
        addImages();
        addOthers();
        return std::move(_offers);
    }

private:
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

    // A name of our own making goes before one that came with the contents.
    void addOthers() {
        for (const auto &[target, data] : _contents.others.asKeyValueRange()) {
            // There may be any number of them.
            if (_offers.size() >= maximumTargets)
                return;
            if (data && isPassedOn(target))
                append({.target = target, .type = target, .data = *data, .isForeign = true});
        }
    }

    // Images are offered under the names of what they are: their types' names say nothing about
    // their bytes. Many programs paste PNG and nothing else.
    void addImages() {
        for (const QByteArray &data : _contents.images) {
            const QString type = ImageCodec::typeOf(data);
            if (!type.isEmpty())
                offer(type, data);
        }
        if (isOffered(pngTarget))
            return;
        for (const QByteArray &data : _contents.images) {
            if (!ImageCodec::typeOf(data).isEmpty() || ImageCodec::describe(data)) {
                append({.target = pngTarget, .type = pngTarget, .data = data, .isConverted = true});
                return;
            }
        }
    }

    // Files are offered in two forms: some file managers take only the one, some only the other.
    void addFiles() {
        if (_contents.files.isEmpty())
            return;
        QByteArray list;
        QByteArray copied = "copy";
        for (const QString &file : _contents.files) {
            const QByteArray uri = QUrl::fromLocalFile(file).toEncoded();
            list += uri + "\r\n";
            copied += '\n' + uri;
        }
        using enum PasteboardAudience;
        // Where the image itself is pasted, a file does harm: a spreadsheet pastes nothing, an
        // editor writes down the path.
        const auto notFor =
            _contents.images.isEmpty() ? QList<PasteboardAudience>() : QList{Spreadsheet, Other};
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
        if (!link->isPartOfText && isWebUrl(link->url) && !namesAProgram(link->url)) {
            QStringEncoder utf16(QStringEncoder::Utf16LE);
            const QString target = QStringLiteral("text/x-moz-url");
            append({.target = target,
                    .type = target,
                    .data = utf16(link->address + u'\n' + link->title),
                    .notFor = {PasteboardAudience::FileManager}});
        }
        // Spreadsheets get no HTML: they would ask the user in which language it is to be read.
        const QString target = QStringLiteral("text/html");
        if (const auto html = anchor(_contents))
            append({.target = target,
                    .type = target,
                    .data = *html,
                    .notFor = {PasteboardAudience::Spreadsheet}});
        if (!_contents.text)
            addText(link->address);
    }

    [[nodiscard]] static bool isPassedOn(const QString &target) {
        return PasteboardTargets::isValidName(target) &&
               !PasteboardTargets::isNobodysBusiness(target) &&
               !PasteboardTargets::namesFiles(target);
    }

    void offer(const QString &target, const QByteArray &data, const QString &type = {}) {
        append({target, type.isEmpty() ? target : type, data});
    }

    void append(const Offer &offer) {
        if (!isOffered(offer.target) && _offers.size() < maximumTargets)
            _offers.append(offer);
    }

    [[nodiscard]] bool isOffered(const QString &target) const {
        return std::any_of(_offers.cbegin(), _offers.cend(),
                           [&](const Offer &offered) { return offered.target == target; });
    }

    const PasteboardContents &_contents;
    QList<Offer> _offers;
};

} // namespace

QList<Offer> offers(const PasteboardContents &contents) {
    return OfferBuilder(contents).build();
}

std::optional<QByteArray> anchor(const PasteboardContents &contents) {
    const std::optional<Link> link = linkIn(contents);
    if (!link || link->isPartOfText || !isForAnchors(link->url) || contents.html)
        return std::nullopt;
    return "<a href=\"" + escapedHtml(link->address).toLatin1() + "\">" +
           escapedHtml(link->text).toLatin1() + "</a>";
}

} // namespace clipmule::PasteboardOffers
