// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "fuzz/Script.h"
#include "platform/foundation/PlatformException.h"
#include "tests/pasteboard/MutterDesktop.h"

#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>

#include <fcntl.h>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

QString textOf(Script &script) {
    return QString::fromUtf8(script.string());
}

// A file that is no pipe, in the place of one.
QVariant descriptor(Script &script) {
    static const QList<const char *> paths = {"/dev/null", "/dev/zero", "/", "/proc/self/mem"};
    const FileHandle file(::open(paths.at(script.number(int(paths.size()))), O_RDONLY | O_CLOEXEC));
    return QVariant::fromValue(QDBusUnixFileDescriptor(file.descriptor()));
}

// Of a kind that is wanted somewhere, or of another one.
QVariant value(Script &script, int depth = 0) {
    switch (script.number(depth < 3 ? 11 : 8)) {
    case 0:
        return script.number(2) == 1;
    case 1:
        return uint(script.number(256));
    case 2:
        return textOf(script);
    case 3:
        return script.string();
    case 4: {
        QStringList types;
        for (int count = script.number(12); count > 0; --count)
            types.append(QString::fromUtf8(script.type()));
        return types;
    }
    case 5:
        return descriptor(script);
    case 6:
        return QVariant::fromValue(QDBusObjectPath(QStringLiteral("/a%1").arg(script.number(256))));
    case 7:
        return -0.5;
    case 8:
        return QVariant::fromValue(QDBusVariant(value(script, depth + 1)));
    case 9:
        return QVariantMap{{QStringLiteral("mime-types"), value(script, depth + 1)},
                           {QStringLiteral("session-is-owner"), value(script, depth + 1)}};
    default:
        return QVariantMap{{textOf(script), value(script, depth + 1)}};
    }
}

QVariantList values(Script &script) {
    QVariantList values;
    for (int count = script.number(4); count > 0; --count)
        values.append(value(script));
    return values;
}

QString member(Script &script) {
    static const QStringList members = {QStringLiteral("CreateSession"),
                                        QStringLiteral("EnableClipboard"),
                                        QStringLiteral("SetSelection"),
                                        QStringLiteral("SelectionRead"),
                                        QStringLiteral("SelectionWrite"),
                                        QStringLiteral("SelectionWriteDone"),
                                        QStringLiteral("SelectionOwnerChanged"),
                                        QStringLiteral("SelectionTransfer"),
                                        QStringLiteral("Closed")};
    return members.at(script.number(int(members.size())));
}

class Performance {
public:
    void step(Script &script) {
        FakeMutter &mutter = *_desktop.mutter;
        switch (script.number(15)) {
        case 0:
        case 1:
            copy(script);
            break;
        case 2:
            mutter.clear();
            break;
        case 3:
            write(script);
            break;
        case 4:
            _readers.append(
                std::make_shared<FileHandle>(mutter.paste(QString::fromUtf8(script.type()))));
            break;
        case 5:
            mutter.say(member(script), values(script));
            break;
        case 6:
            mutter.askFor(QString::fromUtf8(script.type()), uint(script.number(256)));
            break;
        case 7:
            mutter.answers.insert(member(script), values(script));
            break;
        case 8:
            mutter.errors.insert(member(script), textOf(script));
            break;
        case 9:
            mutter.silent.insert(member(script));
            break;
        case 10:
            beHonest();
            break;
        case 11:
            mutter.closeSessions();
            break;
        case 12:
            comeOrGo(script);
            break;
        case 13:
            _desktop.runLoop.advance(0.1 * script.number(64));
            break;
        default:
            _desktop.settle();
            break;
        }
    }

    // Whatever was said, a compositor that comes back and is honest is understood.
    void finish() {
        _readers.clear();
        beHonest();
        _desktop.mutter->appear();
        _desktop.mutter->closeSessions();
        rest();
        if (!_desktop.pasteboard->isAccessible())
            fail("a compositor that is honest again is not asked any more");
        _desktop.mutter->copy({{QStringLiteral("text/plain;charset=utf-8"), "at the end"}});
        rest();
        if (_desktop.pasteboard->contents().text != "at the end")
            fail("what was copied at the end was not read");
    }

private:
    void copy(Script &script) {
        FakeMutter::Contents contents;
        for (int count = script.number(12); count > 0; --count) {
            const QString type = QString::fromUtf8(script.type());
            contents.append({type, script.string()});
        }
        _desktop.mutter->copy(contents, static_cast<FakeMutter::Owner>(script.number(5)));
    }

    void write(Script &script) {
        PasteboardContents contents;
        contents.text = script.string();
        contents.html = script.string();
        contents.others.insert(QString::fromLatin1(script.type()), script.string());
        _desktop.pasteboard->write(contents);
    }

    void beHonest() {
        FakeMutter &mutter = *_desktop.mutter;
        mutter.errors.clear();
        mutter.answers.clear();
        mutter.silent.clear();
        mutter.answerHeld();
    }

    void comeOrGo(Script &script) {
        FakeMutter &mutter = *_desktop.mutter;
        switch (script.number(4)) {
        case 0:
            mutter.vanish();
            break;
        case 1:
            mutter.appear();
            break;
        case 2:
            mutter.saysOwnership = script.number(2) == 1;
            break;
        default:
            mutter.hasStructure = script.number(2) == 1;
            break;
        }
    }

    void rest() {
        // Longer than who waits for an answer or a session does.
        constexpr int patience = 10;
        for (int second = 0; second < 120; ++second) {
            _desktop.settle();
            _desktop.runLoop.advance(1.0);
            if (second > patience && !_desktop.pasteboard->isFetching())
                return;
        }
        fail("a fetch that does not end");
    }

    MutterDesktop _desktop;
    QList<std::shared_ptr<FileHandle>> _readers;
};

} // namespace

// The input is what GNOME's compositor and other programs do, one after the other.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return perform<Performance>(data, size);
}
