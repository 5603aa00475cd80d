// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "platform/images/ImageCodec.h"
#include "tests/desktop/RecordedPrograms.h"
#include "tests/kit/FakeActiveApplication.h"
#include "tests/kit/RecordedNotice.h"
#include "tests/kit/TestCase.h"
#include "tests/pasteboard/X11Desktop.h"
#include "tests/pasteboard/X11TestRequestor.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

struct Desk : X11Desktop {
    // With this in front.
    explicit Desk(PasteboardAudience audience = PasteboardAudience::Other)
        : X11Desktop([audience] { return audience; }) {
        if (audience == PasteboardAudience::FileManager)
            application.current = identifierOf(ApplicationRole::FileManager);
    }
    kit::FakeActiveApplication application;
    RecordedNotice notice;
    QTemporaryDir folder;
    PasteboardServices services{*pasteboard, application, std::ref(notice),
                                folder.filePath(QStringLiteral("temporary"))};
};

// What programs offer that must stay on the desk: where it was copied from, and tokens.
bool isPrivate(const QString &target) {
    static const QRegularExpression names(QStringLiteral(
        "^(chromium/x-internal-|chromium/x-source-url|text/x-moz-url-priv|text/_moz_html|"
        "application/x-openoffice-(link|objectdescriptor)|HOSTNAME|IP_ADDRESS|FILE_NAME)"));
    return names.match(target).hasMatch();
}

// Bitmaps and drawings for one family of programs.
bool isBulk(const QString &target) {
    static const QRegularExpression names(
        QStringLiteral("x-openoffice-(bitmap|gdimetafile|emf|wmf|sylk|dif)|image/.*bmp|"
                       "x-libreoffice-(tsvc|internal)"));
    return names.match(target).hasMatch();
}

// The files that the list names, as they were on the other desk.
void makeFiles(const Offers &offers) {
    for (const X11TestOwner::Answer &offer : offers) {
        if (offer.target != "text/uri-list")
            continue;
        // Some end the list as they end their texts.
        const QByteArray list = QByteArray(offer.data).replace('\0', "");
        for (const QByteArray &line : list.split('\n')) {
            const QString path = QUrl(QString::fromUtf8(line.trimmed())).toLocalFile();
            if (path.isEmpty())
                continue;
            QVERIFY(QDir().mkpath(QFileInfo(path).path()));
            if (path.endsWith(u".png")) {
                QImage image(640, 480, QImage::Format_RGB32);
                image.fill(Qt::blue);
                QVERIFY(image.save(path));
            } else {
                QFile file(path);
                QVERIFY(file.open(QIODevice::WriteOnly) && file.write("text\n") == 5);
            }
        }
    }
}

// The text of a copy as the phone must have it; empty where there is none.
QString expectedText(const RecordedCopy &copy) {
    static const QString text = QStringLiteral("Meet me at the mill, 7 o’clock – 3 € ü 東京 😀");
    static const QString line = QStringLiteral("Meet me at the mill");
    static const QHash<QString, QString> ofPrograms{
        {QStringLiteral("Evince"), line},
        {QStringLiteral("Okular"), line},
        {QStringLiteral("xterm"), line + u'\n'},
        {QStringLiteral("Xfce Terminal"), line + u'\n'},
        {QStringLiteral("Kate"), text + QStringLiteral("\nand more\n")},
        {QStringLiteral("Mousepad"), text + QStringLiteral("\nand more\n")},
        {QStringLiteral("gedit"), text + QStringLiteral("\nand more")}};
    static const QHash<QString, QString> ofKinds{
        {QStringLiteral("styled"), QStringLiteral("bold and italic")},
        {QStringLiteral("link"), QStringLiteral("https://example.org/mill?a=1&b=%C3%BC")},
        {QStringLiteral("cells"), QStringLiteral("mill\triver\t7\noak\tash\t12\na\tb\t99\n")}};
    return copy.kind == u"text" ? ofPrograms.value(copy.program, text) : ofKinds.value(copy.kind);
}

// What they have on the clipboard is what most programs read first.
const X11TestOwner::Answer *find(const Offers &offers, const QByteArray &target) {
    const auto found = std::find_if(offers.cbegin(), offers.cend(), [&](const auto &offer) {
        return offer.target == target && !offer.isRefused;
    });
    return found == offers.cend() ? nullptr : &*found;
}

// What a phone has sent, and what of it must be found where it is pasted.
class Sent {
public:
    explicit Sent(const QString &kind)
        : _kind(kind) {
        if (kind == u"png")
            _image = encoded({120, 90}, "png");
        if (kind == u"jpeg")
            _image = encoded({160, 110}, "jpeg");
    }

    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> clip() const {
        QList<PropertyList::Dictionary> dictionaries;
        if (_kind == u"url")
            dictionaries.append({{QStringLiteral("url"), _url}});
        else if (!_image.isEmpty())
            dictionaries.append({{QStringLiteral("imageData"), _image}});
        else
            for (const QString &text : texts())
                dictionaries.append({{QStringLiteral("string"), text}});
        ZRKClipmuleData::Items items;
        for (PropertyList::Dictionary &dictionary : dictionaries) {
            dictionary.insert(QStringLiteral("createdBy"), 1);
            items.append(ZRKClipmuleDataItem::initWithDictionary(dictionary));
        }
        return ZRKClipmuleData::initWithItems(items);
    }

    [[nodiscard]] bool isIn(const QString &target, const QByteArray &data) const {
        if (target.startsWith(u"image/"))
            return ImageCodec::typeOf(data) == target &&
                   QImage::fromData(data).size() == QImage::fromData(_image).size();
        if (target == u"text/uri-list" || target == u"x-special/gnome-copied-files")
            return !_image.isEmpty() && contentsOfFileIn(data) == _image;
        if (target == u"text/x-moz-url") {
            const QString text(reinterpret_cast<const QChar *>(data.constData()), data.size() / 2);
            return text.section(u'\n', 0, 0) == _url;
        }
        if (_kind == u"url")
            return QString::fromUtf8(data)
                .replace(QStringLiteral("&amp;"), QStringLiteral("&"))
                .contains(_url);
        return QString::fromUtf8(data) == texts().join(QStringLiteral("\n\n"));
    }

private:
    [[nodiscard]] QStringList texts() const {
        if (_kind == u"strings")
            return {QStringLiteral("bread"), QStringLiteral("cheese"), QStringLiteral("ü €")};
        return {QStringLiteral("text ü €")};
    }
    [[nodiscard]] static QByteArray encoded(QSize size, const char *format) {
        QImage image(size, QImage::Format_RGB32);
        image.fill(Qt::red);
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        return image.save(&buffer, format) ? buffer.data() : QByteArray();
    }
    [[nodiscard]] static QByteArray contentsOfFileIn(const QByteArray &list) {
        const qsizetype begin = list.indexOf("file://");
        const QByteArray line = list.mid(begin).split('\n').constFirst().trimmed();
        QFile file(QUrl(QString::fromUtf8(line)).toLocalFile());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QString _kind;
    QString _url = QStringLiteral("https://example.org/river/mill?c=2&d=3");
    QByteArray _image;
};

bool isFileManager(const QString &program) {
    static const QStringList names{QStringLiteral("Nautilus"), QStringLiteral("Dolphin"),
                                   QStringLiteral("Thunar"), QStringLiteral("PCManFM")};
    return names.contains(program);
}

PasteboardAudience audienceOf(const QString &program) {
    if (program == u"LibreOffice Calc")
        return PasteboardAudience::Spreadsheet;
    return isFileManager(program) ? PasteboardAudience::FileManager : PasteboardAudience::Other;
}

} // namespace

// Real programs, played from what was recorded of them: nobody needs them to keep this working.
class RecordedProgramsTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        _copies = recordedCopies(_folder.path());
        _pastes = recordedPastes();
        _takeovers = recordedTakeovers();
        QVERIFY(!_copies.isEmpty() && !_pastes.isEmpty() && !_takeovers.isEmpty());
        for (const RecordedCopy &copy : std::as_const(_copies))
            makeFiles(copy.offers);
    }
    void aCopyArrives_data() { copyRows(); }
    void aCopyArrives() {
        QFETCH(int, index);
        const RecordedCopy &copy = _copies.at(index);
        Desk desk(audienceOf(copy.program));
        X11TestOwner owner;
        const std::shared_ptr<ZRKClipmuleData> clip = captured(copy, desk, owner);
        if (copy.kind == u"password") {
            QVERIFY(!clip);
            return;
        }
        QVERIFY(clip);
        QCOMPARE(clip->itemCount(), 1);
        const ZRKClipmuleDataItem &item = *clip->firstItem();
        if (const QString text = expectedText(copy); !text.isEmpty())
            QCOMPARE(item.string(), text);
        if (copy.kind.endsWith(u"rows"))
            QCOMPARE(item.string()->toUtf8(), find(copy.offers, "UTF8_STRING")->data);
        if (copy.kind == u"file")
            QVERIFY2(item.string()->endsWith(u"letter.txt"), qPrintable(*item.string()));
        if (copy.kind == u"picture file")
            QCOMPARE(item.string(), QStringLiteral("picture.png"));
        static const QHash<QString, QSize> sizes{{QStringLiteral("image"), QSize(640, 480)},
                                                 {QStringLiteral("picture file"), QSize(640, 480)},
                                                 {QStringLiteral("photo"), QSize(1600, 1067)}};
        if (const QSize size = sizes.value(copy.kind);
            size.isValid() && copy.program != u"Inkscape")
            QCOMPARE(QImage::fromData(item.imageData().value_or(QByteArray())).size(), size);
        // Styles stay where another desktop may want them, and other kinds of a copy have none.
        if (copy.kind == u"styled" || copy.kind == u"cells")
            QVERIFY(item.nativeDictionary()->contains(PasteboardType::publicHtml));
        QVERIFY(desk.notice.messages.isEmpty());
    }

    void whatTravelsIsNearTheSizeOfWhatIsRead_data() { copyRows(); }
    void whatTravelsIsNearTheSizeOfWhatIsRead() {
        QFETCH(int, index);
        Desk desk(audienceOf(_copies.at(index).program));
        X11TestOwner owner;
        const auto clip = captured(_copies.at(index), desk, owner);
        if (!clip)
            return;
        const ZRKClipmuleDataItem &item = *clip->firstItem();
        const quint64 readings = quint64(item.string().value_or(QString()).size()) +
                                 quint64(item.imageData().value_or(QByteArray()).size());
        QVERIFY(clip->size() <= ZRKClipmuleData::largestTravelling);
        QVERIFY2(clip->size() <= std::max(ZRKClipmuleData::mostTimesItsReadings * readings,
                                          ZRKClipmuleData::smallClip),
                 qPrintable(QString::number(clip->size())));
    }

    void whereItWasCopiedFromStaysHere_data() { copyRows(); }
    void whereItWasCopiedFromStaysHere() {
        QFETCH(int, index);
        const RecordedCopy &copy = _copies.at(index);
        Desk desk(audienceOf(copy.program));
        X11TestOwner owner;
        const auto clip = captured(copy, desk, owner);
        for (const X11TestOwner::Answer &offer : copy.offers) {
            if (isPrivate(QString::fromUtf8(offer.target)))
                QCOMPARE(owner.requestCount(offer.target), 0);
        }
        if (!clip)
            return;
        // Where the files are that somebody has copied is what other desktops ask for.
        const bool isPathWanted = isFileManager(copy.program);
        const auto native = *clip->firstItem()->nativeDictionary();
        for (auto entry = native.begin(); entry != native.end(); ++entry) {
            QVERIFY2(!isPrivate(entry.key()), qPrintable(entry.key()));
            QVERIFY2(isPathWanted || !entry.key().contains(_folder.path()),
                     qPrintable(entry.key()));
            QVERIFY2(isPathWanted || !entry->contains(_folder.path().toUtf8()),
                     qPrintable(entry.key()));
        }
    }

    void oneMeaningIsFetchedOnce_data() { copyRows(); }
    void oneMeaningIsFetchedOnce() {
        QFETCH(int, index);
        const RecordedCopy &copy = _copies.at(index);
        Desk desk(audienceOf(copy.program));
        X11TestOwner owner;
        (void)captured(copy, desk, owner);
        QSet<QString> texts;
        QSet<QString> pictures;
        QSet<QString> styledTexts;
        for (const X11TestOwner::Answer &offer : copy.offers) {
            const int count = owner.requestCount(offer.target);
            QVERIFY2(count <= 1, offer.target.constData());
            if (count == 0 || offer.isRefused)
                continue;
            const QString name = QString::fromUtf8(offer.target);
            if (name == u"UTF8_STRING" || name == u"STRING" || name == u"TEXT" ||
                name == u"COMPOUND_TEXT" || name.startsWith(u"text/plain"))
                texts.insert(name);
            if (name.startsWith(u"image/") && !name.startsWith(u"image/svg"))
                pictures.insert(name);
            if (name.contains(u"rtf") || name == u"text/richtext")
                styledTexts.insert(name);
            QVERIFY2(!isBulk(name), offer.target.constData());
        }
        QVERIFY2(texts.size() <= 1, qPrintable(texts.values().join(u' ')));
        QVERIFY2(pictures.size() <= 1, qPrintable(pictures.values().join(u' ')));
        QVERIFY2(styledTexts.size() <= 1, qPrintable(styledTexts.values().join(u' ')));
    }

    // A manager reads what is copied, and offers it when the owner has ended: all of it, a part, or
    // what it had from somebody else before.
    void aTakeoverIsNoCopy_data() {
        QTest::addColumn<int>("index");
        QTest::addColumn<bool>("isOlderFromPhone");
        for (int index = 0; index < _takeovers.size(); ++index) {
            const RecordedTakeover &takeover = _takeovers.at(index);
            if (isOurs(takeover) || takeover.afterwards.isEmpty())
                continue;
            const QByteArray name =
                (takeover.manager + QStringLiteral(", ") + takeover.what).toUtf8();
            QTest::newRow(name.constData()) << index << false;
            if (!olderText(takeover).isEmpty())
                QTest::newRow((name + ", after a phone's text").constData()) << index << true;
        }
    }
    void aTakeoverIsNoCopy() {
        QFETCH(int, index);
        QFETCH(bool, isOlderFromPhone);
        const RecordedTakeover &takeover = _takeovers.at(index);
        Desk desk;
        X11TestOwner other;
        if (const QByteArray older = olderText(takeover); isOlderFromPhone) {
            desk.pasteboard->write({.text = older});
            desk.settle();
        } else if (!older.isEmpty()) {
            other.own({{"UTF8_STRING", older}});
            QVERIFY(desk.fetchEnds());
        }
        X11TestOwner manager;
        X11TestOwner owner;
        owner.own(takeover.offered);
        QVERIFY(desk.fetchEnds());
        ask(manager, takeover.asked);
        const qint64 count = desk.pasteboard->changeCount();
        owner.quit();
        QVERIFY(await([&] { return desk.pasteboard->contents().isEmpty(); }));
        manager.own(takeover.afterwards);
        QVERIFY(desk.fetchEnds());
        QVERIFY(!desk.pasteboard->contents().isEmpty());
        QCOMPARE(desk.pasteboard->changeCount(), count);
        // What somebody copies then is one again.
        other.own({{"UTF8_STRING", "new"}});
        QVERIFY(desk.fetchEnds());
        QCOMPARE(desk.pasteboard->changeCount(), count + 1);
    }

    // What a phone sent, and a manager has kept beyond our end, does not go back when we start
    // again.
    void whatWasKeptForUsIsNoCopy_data() {
        QTest::addColumn<int>("index");
        for (int index = 0; index < _takeovers.size(); ++index) {
            const RecordedTakeover &takeover = _takeovers.at(index);
            if (isOurs(takeover) && !takeover.afterwards.isEmpty())
                QTest::addRow("%s, %s", qPrintable(takeover.manager), qPrintable(takeover.what))
                    << index;
        }
    }
    void whatWasKeptForUsIsNoCopy() {
        QFETCH(int, index);
        const RecordedTakeover &takeover = _takeovers.at(index);
        X11TestOwner manager;
        manager.own(takeover.afterwards);
        Desk desk;
        QVERIFY(!desk.pasteboard->isFetching());
        QCOMPARE(desk.pasteboard->changeCount(), 0);
        // Nor when the manager offers it anew in the place of something else.
        X11TestOwner owner;
        owner.own({{"image/png", "\x89PNG\r\n\x1a\n"}});
        QVERIFY(desk.fetchEnds());
        QCOMPARE(desk.pasteboard->changeCount(), 1);
        owner.quit();
        QVERIFY(await([&] { return desk.pasteboard->contents().isEmpty(); }));
        manager.own(takeover.afterwards);
        QVERIFY(desk.fetchEnds());
        QCOMPARE(desk.pasteboard->changeCount(), 1);
    }

    // What a program asks for when it pastes is there, and is what a phone has sent.
    void aPasteFindsWhatItAsksFor_data() {
        QTest::addColumn<int>("index");
        for (int index = 0; index < _pastes.size(); ++index)
            QTest::addRow("%s, %s", qPrintable(_pastes.at(index).program),
                          qPrintable(_pastes.at(index).kind))
                << index;
    }
    void aPasteFindsWhatItAsksFor() {
        QFETCH(int, index);
        const RecordedPaste &paste = _pastes.at(index);
        Desk desk(audienceOf(paste.program));
        const Sent sent(paste.kind);
        QVERIFY(sent.clip()->writeToPasteboard(desk.services));
        desk.settle();
        X11TestRequestor targets;
        targets.request("TARGETS");
        QVERIFY(answered(targets));
        for (const QString &target : paste.asked) {
            // What it did not get then would now be pasted in the place of what it got.
            if (!paste.offered.contains(target)) {
                QVERIFY2(target == u"TARGETS" || !targets.names().contains(target),
                         qPrintable(target));
                continue;
            }
            QVERIFY2(targets.names().contains(target), qPrintable(target));
            X11TestRequestor requestor;
            requestor.request(target.toUtf8());
            QVERIFY2(answered(requestor) && requestor.isDone(), qPrintable(target));
            QVERIFY2(sent.isIn(target, requestor.data()), qPrintable(target));
        }
    }

private:
    [[nodiscard]] static bool isOurs(const RecordedTakeover &takeover) {
        return takeover.what.startsWith(u"ours");
    }

    [[nodiscard]] static QByteArray textOf(const Offers &offers) {
        for (const char *target : {"UTF8_STRING", "text/plain;charset=utf-8", "text/plain"}) {
            if (const X11TestOwner::Answer *text = find(offers, target))
                return QByteArray(text->data).replace("\r\n", "\n");
        }
        return {};
    }

    // The text that a manager has put back without having it from the last owner.
    [[nodiscard]] static QByteArray olderText(const RecordedTakeover &takeover) {
        const QByteArray text = textOf(takeover.afterwards);
        return text == textOf(takeover.offered) ? QByteArray() : text;
    }

    static void ask(X11TestOwner &manager, const QStringList &targets) {
        for (const QString &target : targets) {
            X11TestRequestor requestor(manager.sharedConnection());
            requestor.request(target.toUtf8());
            QVERIFY2(answered(requestor), qPrintable(target));
        }
    }

    void copyRows() const {
        QTest::addColumn<int>("index");
        for (int index = 0; index < _copies.size(); ++index)
            QTest::addRow("%s, %s", qPrintable(_copies.at(index).program),
                          qPrintable(_copies.at(index).kind))
                << index;
    }

    [[nodiscard]] static std::shared_ptr<ZRKClipmuleData>
    captured(const RecordedCopy &copy, Desk &desk, X11TestOwner &owner) {
        owner.own(copy.offers);
        if (!desk.fetchEnds())
            qFatal("%s: nothing was fetched", qPrintable(copy.program));
        return ZRKClipmuleData::initFromPasteboard(desk.services);
    }

    QTemporaryDir _folder;
    QList<RecordedCopy> _copies;
    QList<RecordedPaste> _pastes;
    QList<RecordedTakeover> _takeovers;
};

QTEST_GUILESS_MAIN(RecordedProgramsTest)
#include "tst_recordedprograms.moc"
