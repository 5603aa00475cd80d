// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QProcess>
#include <QTemporaryDir>

#include <memory>

namespace clipmule::kit {

/// In milliseconds: how long a test waits for another process, on a machine that is busy.
inline constexpr int patience = 30000;

/// A message bus of this test's own, with nothing on it: a real bus daemon, which ends with the
/// test. It can be stopped and started again at the same address.
class PrivateBus final {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;

    /// One for all tests of the program, which runs: the library that connects to the session's bus
    /// reads only once where it is.
    [[nodiscard]] static PrivateBus &running();

    /// Starts the daemon and waits until it listens. False when it does not.
    [[nodiscard]] bool start();
    void stop();
    [[nodiscard]] bool isRunning() const { return bool(_daemon); }
    [[nodiscard]] QString address() const;

private:
    QTemporaryDir _folder;
    std::unique_ptr<QProcess> _daemon;
};

/// Starts a program that ends with this test, however that ends.
[[nodiscard]] std::unique_ptr<QProcess>
startProgram(const QString &program, const QStringList &arguments,
             const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment());
void endProgram(std::unique_ptr<QProcess> &program);

} // namespace clipmule::kit
