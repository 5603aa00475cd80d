// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ClipNotice.h"
#include "model/PasteboardServices.h"
#include "platform/windows/ActiveApplication.h"
#include "tests/kit/FakePasteboard.h"
#include "tests/kit/ManualRunLoop.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QImageWriter>
#include <QStringList>
#include <QTemporaryDir>

namespace clipmule::test {

class ScriptedApplication final : public ActiveApplication {
public:
    [[nodiscard]] std::optional<QString> identifier() const override { return current; }
    std::optional<QString> current;
};

class RecordedNotice final : public ClipNotice {
public:
    void displayMessage(const QString &text) override { texts.append(text); }
    QStringList texts;
};

/// A desktop of one test: clipboard, active application, notices, a clock and a folder.
struct Desktop {
    kit::ManualRunLoop runLoop;
    RunLoop::Installation installation{runLoop};
    FakePasteboard pasteboard;
    ScriptedApplication application;
    RecordedNotice notice;
    QTemporaryDir folder;
    PasteboardServices services{pasteboard, application, notice,
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

} // namespace clipmule::test
