// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardOffers.h"

#include "platform/foundation/Utf8.h"
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

// Characters above U+00FF begin with this byte in UTF-8, or with a greater one.
constexpr quint8 firstBeyondLatin1 = 0xc4;

// The largest byte of a text in UTF-8, or one of those that stand in no text of Latin-1 alone.
quint8 largestByte(QByteArrayView utf8) {
    quint8 largest = 0;
    const auto *at = reinterpret_cast<const quint8 *>(utf8.begin());
    const auto *const end = reinterpret_cast<const quint8 *>(utf8.end());
    // Blocks of a fixed size become vector instructions.
    constexpr qsizetype block = 4096;
    for (; end - at >= block && largest < firstBeyondLatin1; at += block) {
        quint8 largestHere = 0;
        for (qsizetype i = 0; i < block; ++i)
            largestHere = std::max(largestHere, at[i]);
        largest = std::max(largest, largestHere);
    }
    for (; at < end && largest < firstBeyondLatin1; ++at)
        largest = std::max(largest, *at);
    return largest;
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

// In bytes; a link's text has some hundred at most.
constexpr qsizetype longestLinkText = 256 * 1024;

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
    const QByteArray text = contents.text.value_or(QByteArray());
    // Nobody reads so long a link.
    link.isPartOfText = text.size() > longestLinkText;
    if (!link.isPartOfText)
        link.text = QString::fromUtf8(text).trimmed();
    // A link in place of several lines would lose them.
    link.isPartOfText |= link.text.contains(u'\n') || link.text.contains(u'\r');
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
            addText(*_contents.text);
        addUrl();
        if (_contents.html)
            offer(QStringLiteral("text/html"), *_contents.html);
        addImages();
        addOthers();
        return std::move(_offers);
    }

private:
    void addText(const QByteArray &utf8) {
        const QString utf8String = QStringLiteral("UTF8_STRING");
        offer(QStringLiteral("text/plain;charset=utf-8"), utf8);
        offer(utf8String, utf8);
        offer(QStringLiteral("text/plain"), utf8);
        const QString text = QStringLiteral("TEXT");
        const quint8 largest = largestByte(utf8);
        if (largest >= firstBeyondLatin1) {
            offer(text, utf8, utf8String);
            return;
        }
        const QString latin1 = QStringLiteral("STRING");
        const bool isAscii = largest < 0x80;
        append({.target = latin1, .type = latin1, .data = utf8, .isLatin1 = !isAscii});
        append({.target = text, .type = latin1, .data = utf8, .isLatin1 = !isAscii});
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
            addText(link->address.toUtf8());
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

QByteArray Outgoing::next(qsizetype most) const {
    auto piece =
        QByteArray::fromRawData(data.constData() + offset, std::min(most, data.size() - offset));
    if (!isLatin1)
        return piece;
    return QString::fromUtf8(QByteArrayView(piece).chopped(incompleteUtf8Tail(piece))).toLatin1();
}

void Outgoing::take(QByteArrayView bytes) {
    offset += isLatin1 ? QString::fromLatin1(bytes).toUtf8().size() : bytes.size();
}

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
