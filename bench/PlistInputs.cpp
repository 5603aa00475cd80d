// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "bench/PlistInputs.h"

#include <random>

namespace clipmule::bench {

namespace {

constexpr qsizetype clipSize = 9'900'000;

QString identifier(int number) {
    return QStringLiteral("C0000000-0000-4000-8000-%1").arg(number, 12, 10, QLatin1Char('0'));
}

PropertyList::Dictionary item(const QString &key, const PropertyList &value, int number) {
    return {{QStringLiteral("createdBy"), 2},
            {QStringLiteral("oid"), identifier(number)},
            {key, value}};
}

PropertyList envelope(const PropertyList::List &items) {
    const PropertyList::Dictionary clip{{QStringLiteral("creationDate"), Date{400000000}},
                                        {QStringLiteral("items"), items},
                                        {QStringLiteral("oid"), identifier(0)}};
    return PropertyList::Dictionary{{QStringLiteral("1"), clip}};
}

PropertyList envelope(const QString &text) {
    return envelope(PropertyList::List{item(QStringLiteral("string"), text, 1)});
}

// Inputs are one random block again and again: making them must not outweigh the work itself where
// instructions are counted.
constexpr qsizetype blockSize = 100'000;

PropertyList data() {
    std::mt19937 random(1);
    QByteArray bytes(blockSize, Qt::Uninitialized);
    for (char &byte : bytes)
        byte = char(random());
    bytes = bytes.repeated(clipSize / blockSize);
    return envelope(PropertyList::List{item(QStringLiteral("imageData"), bytes, 1)});
}

/// Words and lines; every so many characters another one.
QString latinText(qsizetype size, qsizetype interval, char16_t other) {
    std::mt19937 random(2);
    QString text(size, Qt::Uninitialized);
    for (qsizetype at = 0; at < size; ++at) {
        const auto choice = random() % 64;
        text[at] = choice < 52   ? QChar(u'a' + char16_t(choice % 26))
                   : choice < 63 ? QChar(u' ')
                                 : QChar(u'\n');
        if (interval > 0 && at % interval == interval - 1)
            text[at] = other;
    }
    return text;
}

PropertyList ascii() {
    return envelope(latinText(blockSize, 0, 0).repeated(clipSize / blockSize));
}

PropertyList entities() {
    return envelope(latinText(blockSize, 50, u'&').repeated(clipSize / blockSize));
}

PropertyList cjk() {
    std::mt19937 random(3);
    QString text;
    // Three bytes a character, four for an emoji.
    for (qsizetype bytes = 0; bytes < blockSize;) {
        if (random() % 50 == 0) {
            text += QChar::fromUcs4(0x1f600 + random() % 64);
            bytes += 4;
        } else {
            text += QChar(char16_t(0x4e00 + random() % 0x5000));
            bytes += 3;
        }
    }
    return envelope(text.repeated(clipSize / blockSize));
}

PropertyList items() {
    PropertyList::List list;
    for (int number = 1; number <= 1000; ++number) {
        auto one = item(QStringLiteral("string"), latinText(60 + number % 80, 50, u'<'), number);
        one.insert(QStringLiteral("url"),
                   QStringLiteral("http://example.com/%1?a=1&b=2").arg(number));
        one.insert(QStringLiteral("title"), QStringLiteral("Überschrift %1").arg(number));
        one.insert(QStringLiteral("creationDate"), Date{400000000.0 + number});
        one.insert(QStringLiteral("thumbnail"), QByteArray(60, char(number)));
        list.append(one);
    }
    return envelope(list);
}

QByteArray repeated(const char *before, const QByteArray &part, const char *after, qsizetype size) {
    return before + part.repeated(size / part.size()) + after;
}

} // namespace

const std::vector<PlistInput> &plistInputs() {
    static const std::vector<PlistInput> inputs{{QStringLiteral("data"), data},
                                                {QStringLiteral("ascii"), ascii},
                                                {QStringLiteral("entities"), entities},
                                                {QStringLiteral("cjk"), cjk},
                                                {QStringLiteral("items"), items}};
    return inputs;
}

const std::vector<Shape> &shapes() {
    static const std::vector<Shape> all{
        {QStringLiteral("only entities"),
         [](qsizetype size) { return repeated("<string>", "&amp;", "</string>", size); }},
        {QStringLiteral("CDATA sections"),
         [](qsizetype size) { return repeated("<string>", "<![CDATA[a]]>", "</string>", size); }},
        {QStringLiteral("brackets in CDATA"),
         [](qsizetype size) { return repeated("<string><![CDATA[", "]", "]]></string>", size); }},
        {QStringLiteral("an endless CDATA section"),
         [](qsizetype size) { return repeated("<string><![CDATA[", "]]", "", size); }},
        {QStringLiteral("many short strings"),
         [](qsizetype size) {
             return repeated("<array>", "<string>a</string>", "</array>", size);
         }},
        {QStringLiteral("many empty values"),
         [](qsizetype size) { return repeated("<array>", "<dict/><true/>", "</array>", size); }},
        {QStringLiteral("an endless comment"),
         [](qsizetype size) { return repeated("<!--", "-", "", size); }},
        {QStringLiteral("many comments"),
         [](qsizetype size) { return repeated("", "<!---->", "<true/>", size); }},
        {QStringLiteral("an endless tag"),
         [](qsizetype size) { return repeated("<array>", "<true a", "", size); }},
        {QStringLiteral("junk between base64 digits"),
         [](qsizetype size) { return repeated("<data>", "A ", "</data>", size); }},
        {QStringLiteral("padding in base64"),
         [](qsizetype size) { return repeated("<data>", "A===", "</data>", size); }},
        {QStringLiteral("an endless integer"),
         [](qsizetype size) { return repeated("<integer>", "0", "</integer>", size); }},
        {QStringLiteral("an endless real"),
         [](qsizetype size) { return repeated("<real>", "7", "</real>", size); }},
        {QStringLiteral("the same key again"),
         [](qsizetype size) { return repeated("<dict>", "<key>a</key><true/>", "</dict>", size); }},
        {QStringLiteral("keys in disorder"),
         [](qsizetype size) {
             QByteArray text = "<dict>";
             for (quint32 number = 1; text.size() < size; ++number) {
                 // Multiplying by an odd number visits each value once.
                 text += "<key>" + QByteArray::number(number * 2654435761u) + "</key><true/>";
             }
             return text + "</dict>";
         }},
    };
    return all;
}

} // namespace clipmule::bench
