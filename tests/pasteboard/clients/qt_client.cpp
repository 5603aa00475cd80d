// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

// A Qt application with a text field, for tests: copies on command, shows what is pasted. The
// commands and answers are those of gtk_client.py, copy-uris and copy-data; after copy-and-hang it
// says "asked" to who wants the text, and nothing more to anybody.

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QImage>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QSocketNotifier>
#include <QUrl>

#include <cstdio>
#include <unistd.h>

namespace {

void say(const QByteArray &line) {
    std::printf("%s\n", line.constData());
    std::fflush(stdout);
}

class Promise final : public QMimeData {
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

class Client final : public QPlainTextEdit {
public:
    Client() {
        resize(400, 200);
        connect(this, &QPlainTextEdit::textChanged, this,
                [this] { say("text " + toPlainText().toUtf8().toHex()); });
        connect(&_notifier, &QSocketNotifier::activated, this, [this] { read(); });
    }

protected:
    void focusInEvent(QFocusEvent *event) override {
        QPlainTextEdit::focusInEvent(event);
        say("ready");
    }

private:
    void read() {
        char buffer[65536];
        const ssize_t size = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (size <= 0) {
            QCoreApplication::quit();
            return;
        }
        _input.append(buffer, size);
        for (qsizetype end; (end = _input.indexOf('\n')) >= 0;) {
            const QList<QByteArray> words = _input.first(end).split(' ');
            _input.remove(0, end + 1);
            command(words);
        }
    }

    void command(const QList<QByteArray> &words) {
        QClipboard *clipboard = QGuiApplication::clipboard();
        const QByteArray &name = words.first();
        if (name == "clear") {
            QPlainTextEdit::clear();
            say("done");
        } else if (name == "copy-text") {
            clipboard->setText(QString::fromUtf8(QByteArray::fromHex(words.at(1))));
            say("done");
        } else if (name == "copy-image") {
            clipboard->setImage(QImage(QString::fromUtf8(words.at(1))));
            say("done");
        } else if (name == "copy-data") {
            // Pairs of a target and its bytes, in hexadecimal.
            auto *offer = new QMimeData;
            for (qsizetype index = 1; index + 1 < words.size(); index += 2)
                offer->setData(QString::fromLatin1(words.at(index)),
                               QByteArray::fromHex(words.at(index + 1)));
            clipboard->setMimeData(offer);
            say("done");
        } else if (name == "copy-and-hang") {
            clipboard->setMimeData(new Promise);
            say("done");
        } else if (name == "copy-uris") {
            auto mime = std::make_unique<QMimeData>();
            QList<QUrl> urls;
            for (const QByteArray &uri : words.sliced(1))
                urls.append(QUrl::fromEncoded(uri));
            mime->setUrls(urls);
            clipboard->setMimeData(mime.release());
            say("done");
        } else if (name == "read-text") {
            say("text " + clipboard->text().toUtf8().toHex());
        } else if (name == "read-image") {
            const QImage image = clipboard->image();
            say(image.save(QString::fromUtf8(words.at(1)), "PNG") ? "done" : "nothing");
        } else if (name == "read-targets") {
            say("targets " + clipboard->mimeData()->formats().join(u' ').toUtf8());
        }
    }

    QSocketNotifier _notifier{STDIN_FILENO, QSocketNotifier::Read};
    QByteArray _input;
};

} // namespace

int main(int argc, char **argv) {
    QApplication application(argc, argv);
    Client client;
    client.show();
    return QApplication::exec();
}
