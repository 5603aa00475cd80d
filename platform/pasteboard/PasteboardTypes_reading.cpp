// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/PropertyListSerialization.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/PasteboardReadings.h"
#include "platform/pasteboard/PasteboardTargets.h"
#include "platform/pasteboard/PasteboardTypes.h"

#include <QStringDecoder>
#include <QSysInfo>

#include <algorithm>

namespace clipmule::PasteboardTypes {

namespace {

// Lower is better; -1 is no text. Owners that offer several of them mean the same by each, but the
// later ones lose characters, and GTK makes CR LF of line ends in all that are MIME types.
int textRank(const QString &target) {
    if (target == u"UTF8_STRING")
        return 0;
    if (target == u"STRING")
        return 5;
    if (target == u"TEXT")
        return 6;
    if (target == u"COMPOUND_TEXT")
        return 7;
    if (target == u"text/unicode")
        return 2;
    const QString lower = target.toLower();
    if (lower == u"text/plain")
        return 4;
    if (!lower.startsWith(u"text/plain;"))
        return -1;
    if (lower.contains(u"charset=utf-8") || lower.contains(u"charset=\"utf-8\""))
        return 1;
    return 3;
}

// Lossless and wide-spread first: the one that is fetched.
int imageRank(const QString &target) {
    static const QStringList best{QStringLiteral("image/png"),  QStringLiteral("image/tiff"),
                                  QStringLiteral("image/jpeg"), QStringLiteral("image/webp"),
                                  QStringLiteral("image/gif"),  QStringLiteral("image/bmp")};
    // Names of old for one that is an image as well.
    const bool isIcon = target == u"application/ico" || target == u"text/ico";
    if (!isIcon && (!target.startsWith(u"image/") || target.startsWith(u"image/svg")))
        return -1;
    const qsizetype rank = best.indexOf(target);
    return int(rank < 0 ? best.size() : rank);
}

Meaning meaningOf(const QString &target) {
    if (textRank(target) >= 0)
        return Meaning::Text;
    if (target == u"text/html" || target.startsWith(u"text/html;"))
        return Meaning::Html;
    if (target == u"text/rtf" || target == u"application/rtf")
        return Meaning::Rtf;
    if (imageRank(target) >= 0)
        return Meaning::Image;
    if (target == u"text/uri-list")
        return Meaning::UriList;
    if (target == u"text/x-moz-url")
        return Meaning::MozillaUrl;
    return Meaning::Other;
}

void sortByRank(Request &request) {
    const auto by = [&](int (*rank)(const QString &)) {
        std::stable_sort(
            request.targets.begin(), request.targets.end(),
            [rank](const QString &left, const QString &right) { return rank(left) < rank(right); });
    };
    if (request.meaning == Meaning::Text)
        by(textRank);
    else if (request.meaning == Meaning::Image)
        by(imageRank);
}

bool isThisHost(const QString &host) {
    return host.isEmpty() || host == u"localhost" ||
           host.compare(QSysInfo::machineHostName(), Qt::CaseInsensitive) == 0;
}

bool isWebUrl(const QUrl &url) {
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == u"http" || url.scheme() == u"https");
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

class ContentsBuilder {
public:
    void add(const Answer &answer) {
        if (answer.data)
            add(answer.meaning, answer.target, *answer.data);
        else if (answer.meaning == Meaning::Other)
            _contents.declare(answer.target);
    }

    [[nodiscard]] PasteboardContents take() { return std::move(_contents); }

private:
    void add(Meaning meaning, const QString &target, const QByteArray &data) {
        switch (meaning) {
        case Meaning::Text:
            setOnce(PasteboardType::NSStringPboardType, data);
            break;
        case Meaning::Html:
            setOnce(PasteboardType::publicHtml, data);
            break;
        case Meaning::Rtf:
            setOnce(PasteboardType::NSRTFPboardType, data);
            break;
        case Meaning::Image:
            setOnce(target == u"image/png" ? PasteboardType::publicPng
                                           : PasteboardType::NSTIFFPboardType,
                    data);
            break;
        case Meaning::UriList:
            if (!addUriList(data))
                setOnce(target, data);
            break;
        case Meaning::MozillaUrl:
            if (!addMozillaUrl(data))
                setOnce(target, data);
            break;
        case Meaning::Other:
            setOnce(target, data);
            break;
        }
    }

    void setOnce(const QString &type, const QByteArray &data) {
        if (!_contents.contains(type))
            _contents.set(type, data);
    }

    bool addUriList(const QByteArray &data) {
        if (data.size() > maximumUriListBytes)
            return false;
        const QList<QByteArray> lines = linesOfUriList(data);
        if (lines.size() > maximumUriListLines)
            return false;
        PropertyList::List paths;
        std::optional<QUrl> web;
        for (const QByteArray &line : lines) {
            QUrl url = urlFromForeignText(QString::fromUtf8(line));
            if (url.isLocalFile() && isThisHost(url.host())) {
                url.setHost(QString());
                paths.append(url.toLocalFile());
            } else if (!web && isWebUrl(url)) {
                web = url;
            }
        }
        if (!paths.isEmpty())
            setOnce(PasteboardType::NSFilenamesPboardType, PropertyListSerialization::xml(paths));
        if (web)
            setOnce(PasteboardType::NSURLPboardType, PasteboardReadings::urlData(*web));
        return web || !paths.isEmpty();
    }

    // UTF-16: the URL, a line feed, its title.
    bool addMozillaUrl(const QByteArray &data) {
        if (data.size() > maximumUriListBytes)
            return false;
        QString text = QStringDecoder(QStringDecoder::Utf16)(data);
        while (text.endsWith(QChar(0)))
            text.chop(1);
        const QStringList lines = text.split(u'\n');
        const QUrl url = urlFromForeignText(lines.first().trimmed());
        if (!isWebUrl(url))
            return false;
        setOnce(PasteboardType::NSURLPboardType, PasteboardReadings::urlData(url));
        const QString title = lines.value(1).trimmed();
        if (!title.isEmpty() && title != lines.first().trimmed())
            setOnce(PasteboardType::publicUrlName, title.toUtf8());
        return true;
    }

    PasteboardContents _contents;
};

} // namespace

QList<Request> requests(const QStringList &targets) {
    QList<Request> requests;
    for (const QString &target :
         targets.first(std::min<qsizetype>(targets.size(), maximumTargets))) {
        if (target.isEmpty() || PasteboardTargets::isProtocol(target) ||
            PasteboardTargets::isBoundToItsSession(target))
            continue;
        const Meaning meaning = meaningOf(target);
        const auto same =
            std::find_if(requests.begin(), requests.end(), [&](const Request &request) {
                return meaning == Meaning::Other ? request.targets.first() == target
                                                 : request.meaning == meaning;
            });
        if (same == requests.end())
            requests.append({meaning, {target}});
        else if (!same->targets.contains(target))
            same->targets.append(target);
    }
    for (Request &request : requests)
        sortByRank(request);
    return requests;
}

PasteboardContents contents(const QList<Answer> &answers) {
    ContentsBuilder builder;
    for (const Answer &answer : answers)
        builder.add(answer);
    return builder.take();
}

} // namespace clipmule::PasteboardTypes
