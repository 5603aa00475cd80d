// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/PasteboardReadings.h"
#include "platform/pasteboard/PasteboardTargets.h"
#include "platform/pasteboard/PasteboardTypes.h"

#include <QSet>
#include <QStringEncoder>

#include <algorithm>

namespace clipmule::PasteboardTypes {

namespace {

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

class OfferBuilder {
public:
    explicit OfferBuilder(const PasteboardContents &contents)
        : _contents(contents) {
        if (const auto data = contents.data(PasteboardType::NSFilenamesPboardType))
            _files = PasteboardReadings::fileNames(*data);
        if (const auto data = contents.data(PasteboardType::NSURLPboardType))
            _url = PasteboardReadings::url(*data);
    }

    QList<Offer> build() {
        for (const PasteboardContents::Representation &representation :
             _contents.representations()) {
            if (representation.data)
                add(representation.type, *representation.data);
        }
        for (const auto &[target, data] : _images)
            offer(target, data);
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
        else if (type == PasteboardType::publicPng || type == PasteboardType::applePng)
            offer(QStringLiteral("image/png"), data);
        else if (type == PasteboardType::NSTIFFPboardType || type == PasteboardType::publicTiff)
            addImage(data);
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

    // Under what it is and under what it was put there as; after the other images, which are what
    // their names say.
    void addImage(const QByteArray &data) {
        const QString real = imageTypeOf(data);
        if (!real.isEmpty())
            _images.append({real, data});
        _images.append({QStringLiteral("image/tiff"), data});
    }

    // Some file managers take only the one, some only the other.
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
        offer(QStringLiteral("text/uri-list"), list);
        offer(QStringLiteral("x-special/gnome-copied-files"), copied);
    }

    void addUrl() {
        if (!_url)
            return;
        const QByteArray encoded = _url->toEncoded();
        const QString text = QString::fromLatin1(encoded);
        // Programs that are made with Qt, file managers among them, take both for a list of files.
        if (isOfTheWeb(*_url) && !namesAProgram(*_url)) {
            if (_files.isEmpty())
                offer(QStringLiteral("text/uri-list"), encoded + "\r\n");
            QString title = text;
            if (const auto name = _contents.data(PasteboardType::publicUrlName))
                title = QString::fromUtf8(*name).simplified();
            QStringEncoder utf16(QStringEncoder::Utf16LE);
            offer(QStringLiteral("text/x-moz-url"), utf16(text + u'\n' + title));
        }
        if (!_contents.data(PasteboardType::NSStringPboardType))
            addText(text);
    }

    [[nodiscard]] static bool isPassedOn(const QString &target) {
        return PasteboardTargets::isValidName(target) && !PasteboardTargets::isProtocol(target) &&
               !PasteboardTargets::isBoundToItsSession(target) &&
               !PasteboardTargets::namesFiles(target);
    }

    void offer(const QString &target, const QByteArray &data, const QString &type = {},
               bool isForeign = false) {
        const bool isOffered =
            std::any_of(_offers.cbegin(), _offers.cend(),
                        [&](const Offer &offered) { return offered.target == target; });
        if (!isOffered && _offers.size() < maximumTargets)
            _offers.append({target, type.isEmpty() ? target : type, data, isForeign});
    }

    struct Named {
        QString target;
        QByteArray data;
    };
    const PasteboardContents &_contents;
    QStringList _files;
    std::optional<QUrl> _url;
    QList<Named> _images;
    QList<Named> _others;
    QList<Offer> _offers;
};

} // namespace

QList<Offer> offers(const PasteboardContents &contents) {
    return OfferBuilder(contents).build();
}

QString imageTypeOf(const QByteArray &data) {
    if (data.startsWith("\x89PNG\r\n\x1a\n"))
        return QStringLiteral("image/png");
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
