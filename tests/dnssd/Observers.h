// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"

#include <QProcess>
#include <QStringList>

#include <optional>

/// The four kinds of objects with a record of what they reported.
namespace clipmule::kit {

using namespace dnssd;

struct Publication {
    explicit Publication(Backend &backend)
        : publisher(backend.makePublisher()) {
        publisher->onPublished = [this](const QString &name) { names += name; };
        publisher->onError = [this](const QString &reason) { errors += reason; };
    }
    std::unique_ptr<Publisher> publisher;
    QStringList names;
    QStringList errors;
};

/// "+name" and "-name" in the order of the reports, "." for all for now.
struct Browse {
    explicit Browse(Backend &backend)
        : browser(backend.makeBrowser()) {
        browser->onFound = [this](const ServiceName &service) {
            events += u'+' + service.name;
            last = service;
        };
        browser->onRemoved = [this](const ServiceName &service) {
            events += u'-' + service.name;
            last = service;
        };
        browser->onAllForNow = [this] { events += QStringLiteral("."); };
    }
    /// Without the end of the first answers, whose place among them depends on the cache.
    [[nodiscard]] QStringList changes() const {
        QStringList result = events;
        result.removeAll(QStringLiteral("."));
        return result;
    }
    std::unique_ptr<Browser> browser;
    QStringList events;
    ServiceName last;
};

struct Resolution {
    explicit Resolution(Backend &backend)
        : resolver(backend.makeResolver()) {
        resolver->onResolved = [this](const Resolved &answer) {
            ++count;
            resolved = answer;
        };
        resolver->onFailed = [this](const QString &reason) {
            ++count;
            failure = reason;
        };
    }
    std::unique_ptr<Resolver> resolver;
    int count = 0;
    std::optional<Resolved> resolved;
    std::optional<QString> failure;
};

struct TxtRecords {
    explicit TxtRecords(Backend &backend)
        : watch(backend.makeTxtWatch()) {
        watch->onTxtRecord = [this](const QByteArray &record) { records += record; };
    }
    std::unique_ptr<TxtWatch> watch;
    QList<QByteArray> records;
};

/// A program of Avahi's own, as a witness from outside. Ends with this.
class Witness {
public:
    Witness(const QString &program, const QStringList &arguments) {
        _process.setProcessChannelMode(QProcess::MergedChannels);
        _process.start(program, arguments);
        _process.waitForStarted();
    }
    ~Witness() { end(); }
    Witness(const Witness &) = delete;
    Witness &operator=(const Witness &) = delete;

    /// What it has printed so far.
    [[nodiscard]] const QByteArray &output() {
        _output += _process.readAll();
        return _output;
    }
    [[nodiscard]] bool hasEnded() const { return _process.state() == QProcess::NotRunning; }
    [[nodiscard]] int exitCode() const { return _process.exitCode(); }
    /// As a user would: it says goodbye.
    void end() {
        if (hasEnded())
            return;
        _process.terminate();
        _process.waitForFinished();
    }

private:
    QProcess _process;
    QByteArray _output;
};

/// Entries of text that fill a TXT record of exactly so many bytes.
inline QByteArray txtRecordOfSize(qsizetype size) {
    QByteArray record;
    while (record.size() < size) {
        const qsizetype length = std::min<qsizetype>(255, size - record.size() - 1);
        record += char(length) + QByteArray(length, 'x');
    }
    return record;
}

} // namespace clipmule::kit
