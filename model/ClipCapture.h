// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/PortablePicture.h"
#include "model/ZRKClipmuleData.h"
#include "platform/pasteboard/Pasteboard.h"

namespace clipmule {

class PictureEcho;

/// What is on the desktop's clipboard, on its way to a clip. Reading image files and long texts and
/// working on pictures takes long, and is a step of its own that any thread may do: it sees values
/// that nobody changes any more.
class ClipCapture final {
public:
    /// A text of more bytes, as it was copied, is long: RTF of this size takes 4 ms to be read.
    static constexpr qsizetype longText = 256 * 1024;

    /// Of an image file.
    struct ImageFile {
        QString name;
        QByteArray portable;
    };
    /// What became of the pictures and of a long text.
    struct Readings {
        /// Nothing, too, where the text is not long.
        std::optional<QString> longText = {};
        size_t longTextHash = 0;
        /// Of all files, where all of them are pictures; else none.
        QList<ImageFile> files = {};
        /// Of the picture that was copied as such.
        std::optional<PortablePicture::Forms> forms = {};
        /// Whether it has the pixels of the received one that was asked for.
        bool isReceived = false;
        /// For the log.
        QStringList failures = {};
    };

    /// Takes what is there; null when that is nothing, or marked as not to be kept or passed on. A
    /// clipboard that cannot be read raises a PlatformException. On the main thread.
    [[nodiscard]] static std::shared_ptr<const ClipCapture>
    begin(const PasteboardServices &services);
    /// Whether the clipboard's owner marked its contents so.
    [[nodiscard]] static bool isSecret(const Pasteboard &pasteboard);
    ClipCapture(const PasteboardContents &contents, bool mayBeImageFiles);

    /// Whether the second step has anything to do.
    [[nodiscard]] bool takesLong() const { return _mayBeImageFiles || _image || _hasLongText; }
    /// The second step. Raises nothing; another thread may say that nobody wants the result any
    /// more, which then is worth nothing.
    [[nodiscard]] Readings read(const PictureEcho &received,
                                const std::atomic_bool &isAbandoned) const;
    /// The last one. Of the native representations the bulkiest are left out until the clip is as
    /// small as its limits ask for; its text, URL, title and list of files stay. Failures are
    /// logged. On the main thread.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> clip(const Readings &readings) const;

private:
    [[nodiscard]] static std::optional<PortablePicture::Forms>
    portable(const QByteArray &picture, const PortablePicture::LargestFull &largestFull,
             QStringList &failures, const std::atomic_bool &isAbandoned);
    [[nodiscard]] bool readFiles(Readings &readings, const PictureEcho &received,
                                 const std::atomic_bool &isAbandoned) const;
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> clipOfReadings(const Readings &readings) const;
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> clipOfFiles(const QList<ImageFile> &files) const;

    PasteboardContents _contents;
    bool _mayBeImageFiles;
    bool _hasLongText;
    std::optional<QString> _text; // that is not long
    std::optional<QByteArray> _image;
    quint64 _smallSize = 0; // of the portable readings without picture and long text
};

} // namespace clipmule
