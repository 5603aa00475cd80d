// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/RtfText.h"

#include <QHash>
#include <QList>
#include <QSet>

#include <iconv.h>

namespace clipmule {

namespace {

// Text in these groups is not the document's. Those that begin with "\*" are left out anyway.
bool isHiddenDestination(const QByteArray &word) {
    static const QSet<QByteArray> words{
        "fonttbl", "colortbl", "stylesheet", "info",      "pict",    "header",     "headerl",
        "headerr", "headerf",  "footer",     "footerl",   "footerr", "footerf",    "footnote",
        "fldinst", "objdata",  "listtable",  "themedata", "rsidtbl", "xe",         "tc",
        "filetbl", "revtbl",   "datastore",  "objclass",  "objname", "nonshppict",
    };
    return words.contains(word);
}

std::optional<char16_t> characterOfWord(const QByteArray &word) {
    static const QHash<QByteArray, char16_t> characters{
        {"par", u'\n'},           {"line", u'\n'},        {"sect", u'\n'},
        {"page", u'\n'},          {"row", u'\n'},         {"tab", u'\t'},
        {"cell", u'\t'},          {"nestcell", u'\t'},    {"nestrow", u'\n'},
        {"emdash", u'\u2014'},    {"endash", u'\u2013'},  {"emspace", u'\u2003'},
        {"enspace", u'\u2002'},   {"qmspace", u'\u2005'}, {"bullet", u'\u2022'},
        {"lquote", u'\u2018'},    {"rquote", u'\u2019'},  {"ldblquote", u'\u201c'},
        {"rdblquote", u'\u201d'}, {"zwj", u'\u200d'},     {"zwnj", u'\u200c'},
        {"ltrmark", u'\u200e'},   {"rtlmark", u'\u200f'},
    };
    const auto found = characters.find(word);
    return found == characters.end() ? std::nullopt : std::optional<char16_t>(*found);
}

// A code page, opened once for all the runs of bytes in it: a document may have one for each
// character.
class CodePage {
public:
    CodePage() = default;
    ~CodePage() { close(); }
    CodePage(const CodePage &) = delete;
    CodePage &operator=(const CodePage &) = delete;

    void select(const QByteArray &name) {
        if (name == _name)
            return;
        close();
        _name = name;
    }

    // The bytes as text; Latin-1 where this system does not know the code page.
    [[nodiscard]] QString decoded(const QByteArray &bytes) {
        if (!_isOpen) {
            _converter = iconv_open("UTF-16LE", _name.constData());
            _isOpen = true;
        }
        if (_converter == none())
            return QString::fromLatin1(bytes);
        iconv(_converter, nullptr, nullptr, nullptr, nullptr);
        QString text(bytes.size(), Qt::Uninitialized);
        QByteArray input = bytes;
        char *from = input.data();
        size_t fromLeft = size_t(input.size());
        char *to = reinterpret_cast<char *>(text.data());
        size_t toLeft = size_t(text.size()) * sizeof(QChar);
        while (fromLeft > 0 && iconv(_converter, &from, &fromLeft, &to, &toLeft) == size_t(-1)) {
            if (toLeft < sizeof(QChar) || fromLeft == 0)
                break;
            // Stands for bytes that are no character of this code page.
            const char16_t replacement = QChar::ReplacementCharacter;
            memcpy(to, &replacement, sizeof replacement);
            to += sizeof replacement;
            toLeft -= sizeof replacement;
            ++from;
            --fromLeft;
        }
        text.truncate(text.size() - qsizetype(toLeft / sizeof(QChar)));
        return text;
    }

private:
    static iconv_t none() { return iconv_t(-1); }
    void close() {
        if (_isOpen && _converter != none())
            iconv_close(_converter);
        _isOpen = false;
    }

    QByteArray _name = "CP1252";
    bool _isOpen = false;
    iconv_t _converter = none();
};

class RtfReader {
public:
    explicit RtfReader(const QByteArray &rtf)
        : _rtf(rtf) {}

    std::optional<QString> read() {
        while (_at < _rtf.size() && isspace(static_cast<unsigned char>(_rtf.at(_at))))
            ++_at;
        if (!QByteArrayView(_rtf).sliced(_at).startsWith("{\\rtf"))
            return std::nullopt;
        while (_at < _rtf.size()) {
            const char byte = _rtf.at(_at++);
            if (byte == '{') {
                if (_groups.size() >= maximumRtfDepth)
                    return std::nullopt;
                _groups.append(_group);
                _group.fallbackLeft = 0;
            } else if (byte == '}') {
                if (_groups.isEmpty())
                    break;
                _group = _groups.takeLast();
                _group.fallbackLeft = 0;
                if (_groups.isEmpty())
                    break;
            } else if (byte == '\\') {
                readControl();
            } else if (byte != '\r' && byte != '\n' && byte != '\0') {
                appendByte(byte);
            }
        }
        flushBytes();
        return _text;
    }

private:
    struct Group {
        bool hidden = false;
        int fallbackCharacters = 1; // how many follow a "\u" for readers without Unicode
        int fallbackLeft = 0;
    };

    void readControl() {
        if (_at >= _rtf.size())
            return;
        const char symbol = _rtf.at(_at);
        if (isLetter(symbol)) {
            readControlWord();
            return;
        }
        ++_at;
        switch (symbol) {
        case '\'': {
            bool isHexadecimal = false;
            const char byte = char(_rtf.mid(_at, 2).toInt(&isHexadecimal, 16));
            if (isHexadecimal) {
                _at += 2;
                appendByte(byte);
            }
            break;
        }
        case '*':
            _group.hidden = true;
            break;
        case '\\':
        case '{':
        case '}':
            appendByte(symbol);
            break;
        case '~':
            appendCharacter(u'\u00a0');
            break;
        case '_':
            appendCharacter(u'\u2011');
            break;
        case '\n':
        case '\r':
            appendCharacter(u'\n');
            break;
        case '\t':
            appendCharacter(u'\t');
            break;
        default:
            break;
        }
    }

    void readControlWord() {
        const qsizetype start = _at;
        while (_at < _rtf.size() && isLetter(_rtf.at(_at)))
            ++_at;
        const QByteArray word = _rtf.mid(start, _at - start);
        const qsizetype numberStart = _at;
        if (_at < _rtf.size() && _rtf.at(_at) == '-')
            ++_at;
        while (_at < _rtf.size() && _rtf.at(_at) >= '0' && _rtf.at(_at) <= '9')
            ++_at;
        bool hasNumber = false;
        const int number = _rtf.mid(numberStart, _at - numberStart).toInt(&hasNumber);
        if (_at < _rtf.size() && _rtf.at(_at) == ' ')
            ++_at;

        if (word == "u" && hasNumber) {
            appendCharacter(char16_t(number));
            _group.fallbackLeft = _group.fallbackCharacters;
        } else if (word == "uc" && hasNumber) {
            _group.fallbackCharacters = qBound(0, number, 16);
        } else if (word == "bin" && hasNumber && number > 0) {
            _at += qMin(qsizetype(number), _rtf.size() - _at);
        } else if (word == "ansicpg" && hasNumber) {
            select("CP" + QByteArray::number(number));
        } else if (word == "mac") {
            select("MACINTOSH");
        } else if (isHiddenDestination(word)) {
            _group.hidden = true;
        } else if (const std::optional<char16_t> character = characterOfWord(word)) {
            appendCharacter(*character);
        }
    }

    void select(const QByteArray &codePage) {
        if (_selections >= mostRtfCodePages)
            return;
        ++_selections;
        flushBytes();
        _codePage.select(codePage);
    }

    static bool isLetter(char byte) {
        return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
    }

    bool isFallback() {
        if (_group.fallbackLeft == 0)
            return false;
        --_group.fallbackLeft;
        return true;
    }

    // Bytes are gathered: a character of an East Asian code page has two.
    void appendByte(char byte) {
        if (!isFallback() && !_group.hidden)
            _bytes.append(byte);
    }

    void appendCharacter(char16_t character) {
        if (isFallback() || _group.hidden)
            return;
        flushBytes();
        _text.append(QChar(character));
    }

    void flushBytes() {
        if (_bytes.isEmpty())
            return;
        _text.append(_codePage.decoded(_bytes));
        _bytes.clear();
    }

    const QByteArray &_rtf;
    qsizetype _at = 0;
    Group _group;
    QList<Group> _groups;
    CodePage _codePage;
    int _selections = 0;
    QByteArray _bytes;
    QString _text;
};

} // namespace

std::optional<QString> textOfRtf(const QByteArray &rtf) {
    if (rtf.size() > maximumRtfBytes)
        return std::nullopt;
    return RtfReader(rtf).read();
}

} // namespace clipmule
