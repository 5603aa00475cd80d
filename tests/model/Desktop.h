// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ZRKClipmuleData.h"
#include "model/ZRKClipmuleDataItem.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/windows/ActiveApplication.h"
#include "tests/kit/FakeActiveApplication.h"
#include "tests/kit/FakePasteboard.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/RecordedNotice.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QImageWriter>
#include <QStringList>
#include <QTemporaryDir>

namespace clipmule::kit {

/// What another program has copied, told by the forms that a clip carries it in.
struct Copied {
    struct Representation {
        QString type;
        std::optional<QByteArray> data;
    };
    Copied(const QList<Representation> &representations) {
        for (const auto &[type, data] : representations) {
            if (!data || !read(type, *data))
                contents.others.insert(type, data);
        }
    }
    PasteboardContents contents;

private:
    bool read(const QString &type, const QByteArray &data) {
        using namespace PasteboardType;
        const PropertyList value = PropertyListSerialization::parse(data).value_or(PropertyList());
        if (type == NSStringPboardType)
            contents.text = data;
        else if (type == publicHtml)
            contents.html = data;
        else if (type == NSRTFPboardType)
            contents.rtf = data;
        else if (type == NSTIFFPboardType)
            contents.images.append(data);
        else if (type == publicUrlName)
            contents.title = QString::fromUtf8(data);
        else if (type == NSURLPboardType)
            contents.url = QUrl(QString::fromUtf8(data));
        else if (type == NSFilenamesPboardType && value.isList())
            for (const PropertyList &path : value.list())
                contents.files.append(path.string());
        else
            return false;
        return true;
    }
};

/// A desktop of one test: clipboard, active application, notices, a clock and a folder.
struct Desktop {
    kit::ManualRunLoop runLoop;
    RunLoop::Installation installation{runLoop};
    FakePasteboard pasteboard;
    FakeActiveApplication application;
    RecordedNotice notice;
    QTemporaryDir folder;
    PasteboardServices services{pasteboard, application, std::ref(notice),
                                folder.filePath(QStringLiteral("temporary"))};

    Desktop() { pasteboard.setWatching(true); }

    [[nodiscard]] QString imageFolder() const {
        return folder.filePath(QStringLiteral("temporary/Clipmule"));
    }
    [[nodiscard]] QStringList imageFiles() const {
        return QDir(imageFolder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
};

/// Cannot be compressed; the same on every run.
inline QImage noise(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    quint32 state = 1;
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            state = state * 1664525U + 1013904223U;
            image.setPixel(x, y, 0xff000000U | (state >> 8U));
        }
    }
    return image;
}

inline QImage plain(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(200, 100, 50));
    return image;
}

inline QByteArray encoded(const QImage &image, const char *format) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter(&buffer, format).write(image);
    return buffer.data();
}

} // namespace clipmule::kit
