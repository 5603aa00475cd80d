// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

// A window of the toolkit's to paste into. Writes "ready" when it has the focus, and "text JSON",
// the whole text, after each change. A line on standard input makes it the owner of the clipboard
// that promises a text; asked for it, it writes "asked", and hangs.

#include <QApplication>
#include <QClipboard>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QSocketNotifier>

#include <cstdio>
#include <unistd.h>

namespace {

void say(const QByteArray &line) {
    std::fputs((line + '\n').constData(), stdout);
    std::fflush(stdout);
}

class Promise : public QMimeData {
public:
    [[nodiscard]] QStringList formats() const override { return {QStringLiteral("text/plain")}; }
    [[nodiscard]] bool hasFormat(const QString &type) const override {
        return formats().contains(type);
    }

protected:
    [[nodiscard]] QVariant retrieveData(const QString &, QMetaType) const override {
        say("asked");
        for (;;)
            pause();
    }
};

} // namespace

int main(int argc, char *argv[]) {
    QApplication application(argc, argv);
    QPlainTextEdit page;
    page.setWindowTitle(QStringLiteral("Page"));
    QObject::connect(&page, &QPlainTextEdit::textChanged, [&page] {
        const QByteArray array =
            QJsonDocument(QJsonArray{page.toPlainText()}).toJson(QJsonDocument::Compact);
        say("text " + array.sliced(1, array.size() - 2));
    });
    QObject::connect(&application, &QApplication::focusChanged, [](QWidget *, QWidget *now) {
        if (now)
            say("ready");
    });
    QSocketNotifier commands(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&commands, &QSocketNotifier::activated, [&commands] {
        commands.setEnabled(false);
        QGuiApplication::clipboard()->setMimeData(new Promise);
    });
    page.show();
    return QApplication::exec();
}
