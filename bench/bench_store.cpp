// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "bench/Bench.h"
#include "model/ClipboardStore.h"
#include "model/ZRKClipmuleClipboard.h"
#include "platform/foundation/QtRunLoop.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <malloc.h>

using namespace clipmule;
using bench::Case;
using bench::Work;

namespace {

constexpr qsizetype imageSize = 50'000;

std::shared_ptr<ZRKClipmuleData> clip(qsizetype number, bool withImage) {
    const auto made = ZRKClipmuleData::initWithString(
        QStringLiteral("Clip number %1, with a line of text as people copy it").arg(number));
    if (withImage)
        made->firstItem()->setImageData(QByteArray(imageSize, char(number)));
    return made;
}

double residentMegabytes() {
    QFile file(QStringLiteral("/proc/self/statm"));
    constexpr double pagesPerMegabyte = 1e6 / 4096;
    return file.open(QIODevice::ReadOnly)
               ? file.readAll().split(' ').value(1).toDouble() / pagesPerMegabyte
               : 0;
}

/// A saved store with one custom clipboard of so many clips, every tenth with an image.
struct Saved {
    explicit Saved(qsizetype count)
        : path(folder.filePath(QStringLiteral("data"))) {
        const auto store = ClipboardStore::make(path);
        const auto clipboard = std::make_shared<ZRKClipmuleClipboard>();
        store->insertCustomClipboardAtIndex(clipboard, 0);
        for (qsizetype number = 0; number < count; ++number)
            clipboard->insertClipmuleDataAtIndex(clip(number, number % 10 == 0), 0);
        store->saveIfNeeded();
    }
    QTemporaryDir folder;
    QString path;
};

/// A store of its own on those files, as after a start of the program.
struct Opened {
    explicit Opened(const QString &path)
        : store(ClipboardStore::make(path)) {}
    std::shared_ptr<ClipboardStore> store;
    [[nodiscard]] ZRKClipmuleClipboard &clipboard() const {
        return *store->customClipboards().first();
    }
};

/// With one of them in use while it runs.
Work with(const std::shared_ptr<Opened> &opened, std::function<void(Opened &)> run) {
    return {[opened, run = std::move(run)] { run(*opened); }, 0};
}

void addCases(std::vector<Case> &cases, qsizetype count) {
    const auto made = std::make_shared<std::unique_ptr<Saved>>();
    const auto saved = [made, count]() -> Saved & {
        if (!*made)
            *made = std::make_unique<Saved>(count);
        return **made;
    };
    const auto name = [count](const char *what) {
        return QStringLiteral("%1, %2 clips").arg(QLatin1String(what)).arg(count);
    };
    const QString ours = QStringLiteral("ours");
    cases.push_back({name("open the list of clipboards"), ours, [saved] {
                         const QString path = saved().path;
                         return Work{[path] { (void)Opened(path).store->customClipboards(); }, 0};
                     }});
    cases.push_back({name("load the clips"), ours, [saved] {
                         const QString path = saved().path;
                         return Work{[path] { (void)Opened(path).clipboard().items(); }, 0};
                     }});
    // The insertion itself is nothing beside the save that follows it.
    cases.push_back({name("insert one and save"), ours, [saved, count] {
                         const auto opened = std::make_shared<Opened>(saved().path);
                         return with(opened, [count](Opened &in) {
                             const auto added = clip(count, true);
                             in.clipboard().insertClipmuleDataAtIndex(added, 0);
                             in.store->saveIfNeeded();
                             in.clipboard().removeClipmuleData(added);
                         });
                     }});
    const auto resident = std::make_shared<QJsonObject>();
    const auto look = [resident](Opened &in) {
        (void)in.clipboard().items();
        ::malloc_trim(0);
        const double start = residentMegabytes();
        for (const auto &loaded : in.clipboard().items())
            (void)loaded->size();
        const double full = residentMegabytes();
        in.clipboard().releaseCachedData();
        ::malloc_trim(0);
        *resident = {{QStringLiteral("images_mb"), full - start},
                     {QStringLiteral("released_mb"), residentMegabytes() - start}};
    };
    cases.push_back({name("look at every image and release them"), ours,
                     [saved, look] { return with(std::make_shared<Opened>(saved().path), look); },
                     true, false, [resident] { return *resident; }});
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    std::vector<Case> cases;
    for (const qsizetype count : {100, 1'000, 10'000})
        addCases(cases, count);
    return bench::runCases(QStringLiteral("bench_store"), cases);
}
