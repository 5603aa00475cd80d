// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <cstring>
#include <random>

namespace clipmule::kit {

/// Values that survive being written as XML: whole seconds, no lone surrogates.
class RandomValues {
public:
    explicit RandomValues(unsigned seed)
        : _random(seed) {}

    PropertyList value(int depth) {
        switch (_random() % (depth < 12 ? 10 : 8)) {
        case 0:
            return text();
        case 1:
            return _random() % 2 == 0;
        case 2:
            return qint64(number() >> _random() % 64);
        case 3:
            return number() >> _random() % 64;
        case 4:
            return real();
        case 5:
            return Date{double(qint64(number() >> 12) - (qint64(1) << 51))};
        case 6:
            return data();
        case 7:
            return PropertyList::Uid{quint32(_random())};
        case 8:
            return list(depth);
        default:
            return dictionary(depth);
        }
    }

private:
    quint64 number() { return quint64(_random()) << 32 | _random(); }

    double real() {
        const quint64 bits = number();
        double result;
        static_assert(sizeof result == sizeof bits);
        std::memcpy(&result, &bits, sizeof result);
        return result;
    }

    QString text() {
        QString result;
        for (auto parts = _random() % 6; parts > 0; --parts) {
            char32_t character = _random() % 3 == 0 ? _random() % 0x110000 : _random() % 0x80;
            if (QChar::isSurrogate(character))
                character = U'&';
            const QString once = QString::fromUcs4(&character, 1);
            result += once.repeated(qsizetype(1 + _random() % 20));
        }
        return result;
    }

    QByteArray data() {
        QByteArray bytes(qsizetype(_random() % 300), '\0');
        for (char &byte : bytes)
            byte = char(_random());
        return bytes;
    }

    PropertyList::List list(int depth) {
        PropertyList::List result;
        for (auto count = _random() % 4; count > 0; --count)
            result.append(value(depth + 1));
        return result;
    }

    PropertyList::Dictionary dictionary(int depth) {
        PropertyList::Dictionary result;
        for (auto count = _random() % 4; count > 0; --count)
            result.insert(text(), value(depth + 1));
        return result;
    }

    std::mt19937 _random;
};

} // namespace clipmule::kit
