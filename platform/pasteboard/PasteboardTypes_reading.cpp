// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/ForeignUrl.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/pasteboard/PasteboardReadings.h"
#include "platform/pasteboard/PasteboardTargets.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QStringDecoder>
#include <QSysInfo>

#include <algorithm>

namespace clipmule::PasteboardTypes {

namespace {

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
            setOnce(PasteboardType::NSTIFFPboardType, data);
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
    using PasteboardTargets::Role;
    QList<Request> requests;
    for (const QString &target :
         targets.first(std::min<qsizetype>(targets.size(), maximumTargets))) {
        const auto [role, meaning, rank] = PasteboardTargets::find(target);
        if (target.isEmpty() || (role != Role::Reading && role != Role::Native))
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
                             return PasteboardTargets::find(left).rank <
                                    PasteboardTargets::find(right).rank;
                         });
    }
    return requests;
}

QStringList leftOut(const QStringList &targets) {
    using PasteboardTargets::Role;
    QStringList names;
    for (const QString &target :
         targets.first(std::min<qsizetype>(targets.size(), maximumTargets))) {
        const Role role = PasteboardTargets::find(target).role;
        if ((role == Role::Duplicate || role == Role::Picture) && !names.contains(target))
            names.append(target);
    }
    return names;
}

PasteboardContents contents(const QList<Answer> &answers) {
    ContentsBuilder builder;
    for (const Answer &answer : answers)
        builder.add(answer);
    return builder.take();
}

} // namespace clipmule::PasteboardTypes
