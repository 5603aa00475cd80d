// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/QrPicture.h"

#include <QByteArray>

#include <memory>
#include <qrencode.h>

namespace clipmule::QrPicture {

QList<QList<bool>> modules(const QString &text) {
    // Some damage is made good: reflections, a bent screen.
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeString8bit(text.toUtf8().constData(), 0, QR_ECLEVEL_M), QRcode_free);
    QList<QList<bool>> rows;
    for (int row = 0; code && row < code->width; ++row) {
        QList<bool> dark;
        for (int column = 0; column < code->width; ++column)
            dark.append((code->data[row * code->width + column] & 1) != 0);
        rows.append(dark);
    }
    return rows;
}

QString forTerminal(const QString &text) {
    const QList<QList<bool>> rows = modules(text);
    if (rows.isEmpty())
        return {};
    const auto isDark = [&rows](qsizetype row, qsizetype column) {
        return row >= 0 && row < rows.size() && column >= 0 && column < rows.size() &&
               rows[row][column];
    };
    // Black on white, two rows of modules a line, which makes them about square.
    QString lines;
    for (qsizetype row = -quietZone; row < rows.size() + quietZone; row += 2) {
        lines += QStringLiteral("\x1b[30;107m");
        for (qsizetype column = -quietZone; column < rows.size() + quietZone; ++column) {
            const bool upper = isDark(row, column);
            const bool lower = isDark(row + 1, column);
            lines += upper ? (lower ? u'█' : u'▀') : (lower ? u'▄' : u' ');
        }
        lines += QStringLiteral("\x1b[0m\n");
    }
    return lines;
}

} // namespace clipmule::QrPicture
