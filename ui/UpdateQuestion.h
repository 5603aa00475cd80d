// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <functional>
#include <memory>

class QMessageBox;

namespace clipmule {

/// Asks, in a window that nobody waits for, whether a newer version is to be installed.
class UpdateQuestion final {
public:
    UpdateQuestion();
    /// A question that is still open goes without an answer.
    ~UpdateQuestion();
    Q_DISABLE_COPY_MOVE(UpdateQuestion)

    /// Asks about a version. A question about another version that is still open is answered with
    /// no; one about the same version comes to the front and keeps the callback of its first time.
    void ask(const QString &version, std::function<void(bool wanted)> answer);
    /// The question's window; null when there is no question.
    [[nodiscard]] QMessageBox *window() const { return _window.get(); }

private:
    void comeForward();

    std::unique_ptr<QMessageBox> _window;
    QString _version;
};

} // namespace clipmule
