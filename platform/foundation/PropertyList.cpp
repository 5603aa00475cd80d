// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PropertyList.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"

#include <QHashFunctions>
#include <QLocale>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace clipmule {

namespace {

template <typename T>
const T &checked(const T *value, PropertyList::Kind wanted, PropertyList::Kind found) {
    if (!value) {
        throw PlatformException(
            QStringLiteral("InvalidArgument"),
            QStringLiteral("expected %1, found %2")
                .arg(PropertyList::nameOfKind(wanted), PropertyList::nameOfKind(found)));
    }
    return *value;
}

bool sameReal(double left, double right) {
    return left == right || (std::isnan(left) && std::isnan(right));
}

// Out of range, a conversion from double is undefined; the platform saturates.
qint64 integerFromReal(double real) {
    if (std::isnan(real))
        return 0;
    if (real >= 9223372036854775808.0)
        return std::numeric_limits<qint64>::max();
    if (real <= -9223372036854775808.0)
        return std::numeric_limits<qint64>::min();
    return qint64(real);
}

// Reads white space, a sign and digits; whatever follows is ignored; saturates.
qint64 integerFromText(QStringView text) {
    qsizetype at = 0;
    while (at < text.size() && text[at].isSpace())
        ++at;
    bool negative = false;
    if (at < text.size() && (text[at] == u'-' || text[at] == u'+'))
        negative = text[at++] == u'-';
    quint64 value = 0;
    constexpr quint64 limit = quint64(std::numeric_limits<qint64>::max());
    for (; at < text.size() && text[at] >= u'0' && text[at] <= u'9'; ++at) {
        const quint64 digit = quint64(text[at].unicode() - u'0');
        if (value > (limit - digit) / 10)
            return negative ? std::numeric_limits<qint64>::min()
                            : std::numeric_limits<qint64>::max();
        value = value * 10 + digit;
    }
    return negative ? -qint64(value) : qint64(value);
}

// The decimal point is a full stop in every language: strtod() would want what the user's locale
// writes.
double realFromText(const QString &text) {
    const QByteArray latin = text.trimmed().toLatin1();
    const char *begin = latin.constData();
    if (*begin == '+' && begin[1] != '-')
        ++begin;
    double value = 0;
    const auto [end, error] = std::from_chars(begin, latin.constEnd(), value);
    // Out of range, nothing is stored: the exponent tells which end it is.
    if (error == std::errc::result_out_of_range)
        return QLocale::c().toDouble(QLatin1String(begin, end));
    return value;
}

bool truthFromText(const QString &text) {
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return false;
    switch (trimmed[0].toLower().unicode()) {
    case u'y':
    case u't':
        return true;
    default:
        return integerFromText(trimmed) != 0;
    }
}

} // namespace

PropertyList::Value PropertyList::fromUnsigned(quint64 integer) {
    if (integer <= quint64(std::numeric_limits<qint64>::max()))
        return qint64(integer);
    return integer;
}

bool PropertyList::isNumber() const {
    switch (kind()) {
    case Kind::Boolean:
    case Kind::Integer:
    case Kind::UnsignedInteger:
    case Kind::Real:
        return true;
    default:
        return false;
    }
}

const QString &PropertyList::string() const {
    return checked(as<QString>(), Kind::String, kind());
}

const QByteArray &PropertyList::data() const {
    return checked(as<QByteArray>(), Kind::Data, kind());
}

Date PropertyList::date() const {
    return checked(as<clipmule::Date>(), Kind::Date, kind());
}

const PropertyList::List &PropertyList::list() const {
    return checked(as<List>(), Kind::List, kind());
}

const PropertyList::Dictionary &PropertyList::dictionary() const {
    return checked(as<Dictionary>(), Kind::Dictionary, kind());
}

QString PropertyList::string(const QString &otherwise) const {
    const auto *own = as<QString>();
    return own ? *own : otherwise;
}

PropertyList::List PropertyList::list(const List &otherwise) const {
    const auto *own = as<List>();
    return own ? *own : otherwise;
}

PropertyList::Dictionary PropertyList::dictionary(const Dictionary &otherwise) const {
    const auto *own = as<Dictionary>();
    return own ? *own : otherwise;
}

PropertyList::List &PropertyList::list() {
    return const_cast<List &>(std::as_const(*this).list());
}

PropertyList::Dictionary &PropertyList::dictionary() {
    return const_cast<Dictionary &>(std::as_const(*this).dictionary());
}

bool PropertyList::boolean() const {
    return checked(as<bool>(), Kind::Boolean, kind());
}

double PropertyList::real() const {
    return checked(as<double>(), Kind::Real, kind());
}

PropertyList::Uid PropertyList::uid() const {
    return checked(as<Uid>(), Kind::Uid, kind());
}

qint64 PropertyList::integerValue() const {
    switch (kind()) {
    case Kind::Boolean:
        return boolean() ? 1 : 0;
    case Kind::Integer:
        return *as<qint64>();
    case Kind::UnsignedInteger:
        return qint64(*as<quint64>());
    case Kind::Real:
        return integerFromReal(real());
    case Kind::String:
        return integerFromText(string());
    default:
        return checked<qint64>(nullptr, Kind::Integer, kind());
    }
}

quint64 PropertyList::unsignedValue() const {
    if (const auto *large = as<quint64>())
        return *large;
    return quint64(integerValue());
}

double PropertyList::doubleValue() const {
    switch (kind()) {
    case Kind::UnsignedInteger:
        return double(*as<quint64>());
    case Kind::Real:
        return real();
    case Kind::String:
        return realFromText(string());
    default:
        return double(integerValue());
    }
}

bool PropertyList::boolValue() const {
    switch (kind()) {
    case Kind::Real:
        return real() != 0;
    case Kind::String:
        return truthFromText(string());
    default:
        return unsignedValue() != 0;
    }
}

qint64 PropertyList::integerValue(qint64 otherwise) const {
    return isNumber() || isString() ? integerValue() : otherwise;
}

double PropertyList::doubleValue(double otherwise) const {
    return isNumber() || isString() ? doubleValue() : otherwise;
}

bool PropertyList::boolValue(bool otherwise) const {
    return isNumber() || isString() ? boolValue() : otherwise;
}

const PropertyList *PropertyList::find(const QString &key) const {
    return clipmule::find(dictionary(), key);
}

const PropertyList *find(const PropertyList::Dictionary &dictionary, const QString &key) {
    // Of a few keys most differ in their length already; to order them, texts are compared.
    constexpr qsizetype few = 16;
    const auto found = dictionary.size() <= few
                           ? std::find_if(dictionary.keyValueBegin(), dictionary.keyValueEnd(),
                                          [&](const auto &entry) { return entry.first == key; })
                                 .base()
                           : dictionary.constFind(key);
    return found == dictionary.constEnd() ? nullptr : &found.value();
}

size_t PropertyList::hash() const {
    const size_t seed = size_t(kind()) + 1;
    switch (kind()) {
    case Kind::String:
        return qHash(string(), seed);
    case Kind::Boolean:
        return qHash(boolean(), seed);
    case Kind::Integer:
        return qHash(*as<qint64>(), seed);
    case Kind::UnsignedInteger:
        return qHash(*as<quint64>(), seed);
    case Kind::Real:
        return std::isnan(real()) ? seed : qHash(real(), seed);
    case Kind::Date:
        return qHash(date().secondsSinceReference, seed);
    case Kind::Data:
        return qHash(data(), seed);
    case Kind::List: {
        size_t result = seed;
        for (const PropertyList &element : list())
            result = result * 31 + element.hash();
        return result;
    }
    case Kind::Dictionary: {
        size_t result = seed;
        for (const auto &[key, value] : dictionary().asKeyValueRange())
            result = (result * 31 + qHash(key, seed)) * 31 + value.hash();
        return result;
    }
    case Kind::Uid:
        return qHash(uid().value, seed);
    }
    Q_UNREACHABLE();
}

bool operator==(const PropertyList &left, const PropertyList &right) {
    if (left._value.index() != right._value.index())
        return false;
    // Shared storage is equal without a look at it: the usual case for a clip's image.
    if (const auto *bytes = left.as<QByteArray>()) {
        const auto &others = *right.as<QByteArray>();
        return bytes->size() == others.size() &&
               (bytes->constData() == others.constData() || *bytes == others);
    }
    if (const auto *real = left.as<double>())
        return sameReal(*real, *right.as<double>());
    if (const auto *date = left.as<Date>())
        return sameReal(date->secondsSinceReference, right.as<Date>()->secondsSinceReference);
    return left._value == right._value;
}

QString PropertyList::nameOfKind(Kind kind) {
    // In the order of Kind.
    static constexpr const char *names[] = {
        "a string", "a boolean", "an integer", "an integer",   "a real",
        "a date",   "data",      "a list",     "a dictionary", "an archive reference"};
    return QString::fromLatin1(names[size_t(kind)]);
}

QString PropertyList::description() const {
    QString text;
    describe(text, 0);
    return text;
}

void PropertyList::describe(QString &text, int level) const {
    constexpr int deepest = 4;
    constexpr qsizetype mostEntries = 16;
    const auto describeSome = [&text, level](auto at, qsizetype size, const auto &valueOf) {
        for (qsizetype count = 0; count < size; ++count, ++at) {
            if (level == deepest || count == mostEntries) {
                text += QStringLiteral("… (%1)").arg(size);
                return;
            }
            if (count > 0)
                text += QStringLiteral(", ");
            valueOf(at).describe(text, level + 1);
        }
    };
    switch (kind()) {
    case Kind::String:
        text += u'"' + cutForLog(string()) + u'"';
        return;
    case Kind::Boolean:
        text += boolean() ? QStringLiteral("true") : QStringLiteral("false");
        return;
    case Kind::Integer:
        text += QString::number(*as<qint64>());
        return;
    case Kind::UnsignedInteger:
        text += QString::number(*as<quint64>());
        return;
    case Kind::Real:
        text += QString::number(real(), 'g', 17);
        return;
    case Kind::Date:
        text += date().toDateTime().toString(Qt::ISODate);
        return;
    case Kind::Data:
        text += u'<' +
                QString::fromLatin1(data().first(std::min<qsizetype>(data().size(), 32)).toHex());
        if (data().size() > 32)
            text += QStringLiteral("… (%1)").arg(data().size());
        text += u'>';
        return;
    case Kind::Uid:
        text += QStringLiteral("uid %1").arg(uid().value);
        return;
    case Kind::List:
        text += u'(';
        describeSome(list().begin(), list().size(), [](auto element) { return *element; });
        text += u')';
        return;
    case Kind::Dictionary:
        text += u'{';
        describeSome(dictionary().begin(), dictionary().size(), [&](auto entry) {
            text += cutForLog(entry.key()) + QStringLiteral(": ");
            return entry.value();
        });
        text += u'}';
        return;
    }
}

} // namespace clipmule
