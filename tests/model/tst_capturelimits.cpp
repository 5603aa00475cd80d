// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "platform/images/ImageCodec.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Desktop.h"

#include <QTest>
#include <QtEndian>

#include <zlib.h>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::PasteboardType;

namespace {

using Native = ZRKClipmuleData::NativeDictionary;

QByteArray fileNames(const QStringList &paths) {
    PropertyList::List list;
    for (const QString &path : paths)
        list.append(path);
    return PropertyListSerialization::xml(list);
}

// A PNG of so many bytes, with nothing but its picture.
QByteArray padded(const QByteArray &png, qsizetype size) {
    const QByteArray bare = ImageCodec::writtenPng(png, png.size())->bytes;
    QByteArray filler = "IDAT" + QByteArray(size - bare.size() - 12, '\0');
    const auto sum = quint32(
        ::crc32(0, reinterpret_cast<const Bytef *>(filler.constData()), uInt(filler.size())));
    filler.prepend(4, '\0');
    qToBigEndian(quint32(filler.size() - 8), filler.data());
    filler.append(4, '\0');
    qToBigEndian(sum, filler.data() + filler.size() - 4);
    return bare.chopped(12) + filler + bare.last(12);
}

} // namespace

// What a captured clip carries for desktops, beside what the phones read.
class CaptureLimitsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _desktop = std::make_unique<Desktop>(); }

    void end() override { _desktop.reset(); }

private Q_SLOTS:
    void bulkyFormsAreLeftOut_data() {
        QTest::addColumn<int>("text");
        QTest::addColumn<int>("html");
        QTest::addColumn<bool>("isKept");
        // The text itself is in the clip twice, as string and in its native form, each form with
        // the length of its name.
        const int names = int(NSStringPboardType.size() + publicHtml.size());
        const auto rows = [&](const char *name, int text, int most) {
            const int html = most - 2 * text - names;
            QTest::addRow("%s, one below", name) << text << html - 1 << true;
            QTest::addRow("%s, at the limit", name) << text << html << true;
            QTest::addRow("%s, one above", name) << text << html + 1 << false;
        };
        rows("small", 1000, 1'000'000);
        rows("where four times the text is small", 250'000, 1'000'000);
        rows("four times the text", 300'000, 1'200'000);
        rows("the largest clip", 4'000'000, 9'999'999);
    }
    void bulkyFormsAreLeftOut() {
        QFETCH(int, text);
        QFETCH(int, html);
        QFETCH(bool, isKept);
        const auto clip = capture(
            {{{publicHtml, QByteArray(html, 'h')}, {NSStringPboardType, QByteArray(text, 't')}}});
        QCOMPARE(clip->firstItem()->string()->size(), text);
        const QStringList kept =
            isKept ? QStringList{NSStringPboardType, publicHtml} : QStringList{NSStringPboardType};
        QCOMPARE(native(*clip).keys(), kept);
        QCOMPARE(native(*clip).value(NSStringPboardType).size(), text);
    }

    void theBulkiestGoesFirst() {
        const QString small = QStringLiteral("x.small");
        const auto clip = capture({{{small, QByteArray(400'000, 's')},
                                    {publicHtml, QByteArray(600'000, 'h')},
                                    {NSRTFPboardType, QByteArray(599'900, 'r')},
                                    {NSStringPboardType, "text"}}});
        // 1.6 MB: without the largest one it is small enough.
        QCOMPARE(native(*clip).keys(), (QStringList{NSRTFPboardType, NSStringPboardType, small}));
    }

    void theReadingsStay() {
        const QByteArray files = fileNames({QString(3'000'000, u'/')});
        const auto clip = capture({{{NSStringPboardType, QByteArray(3'000'000, 't')},
                                    {NSURLPboardType, "http://a.org/"},
                                    {publicUrlName, "title"},
                                    {NSFilenamesPboardType, files},
                                    {publicHtml, QByteArray(1'000'000, 'h')}}});
        QCOMPARE(native(*clip).keys(), (QStringList{NSFilenamesPboardType, NSStringPboardType,
                                                    NSURLPboardType, publicUrlName}));
    }

    void whatCostsNothingStays() {
        // The list of files is more than four times the text.
        const QString marker = QStringLiteral("x.marker");
        const auto clip = capture({{{NSStringPboardType, QByteArray(300'000, 't')},
                                    {NSFilenamesPboardType, fileNames({QString(3'000'000, u'/')})},
                                    {marker, ""}}});
        QCOMPARE(native(*clip).keys(),
                 (QStringList{NSFilenamesPboardType, NSStringPboardType, marker}));
    }

    void whatIsNoReadingThoughItShouldBeIsTooLarge() {
        const auto clip = capture({{{NSFilenamesPboardType, QByteArray(10'000'000, 'x')}}});
        QVERIFY(clip->size() > ZRKClipmuleData::largestTravelling);
        QVERIFY(clip->contentHash() != 0);
    }

    void largeReadingsTravelOnce_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("isNativeToo");
        const int name = int(NSStringPboardType.size());
        // One character is two bytes of the native form.
        QTest::newRow("at the limit") << (9'999'999 - name - 1) / 2 << true;
        QTest::newRow("one above") << (9'999'999 - name + 1) / 2 << false;
        QTest::newRow("the largest text") << 9'999'999 << false;
    }
    void largeReadingsTravelOnce() {
        QFETCH(int, size);
        QFETCH(bool, isNativeToo);
        const QString text = QString(size - 1, u't') + QChar(0xe9);
        const auto clip = capture({{{NSStringPboardType, text.toUtf8()}, {publicHtml, "<b>"}}});
        QCOMPARE(clip->firstItem()->string(), text);
        const Native ofText{{NSStringPboardType, text.toUtf8()}};
        QCOMPARE(clip->firstItem()->nativeDictionary(),
                 isNativeToo ? std::optional(ofText) : std::nullopt);
        QVERIFY(clip->size() <= ZRKClipmuleData::largestTravelling);
        // It comes back here like a text from a phone.
        _desktop->pasteboard.copyByAnotherApplication({});
        QVERIFY(clip->writeToPasteboard(_desktop->services));
        QCOMPARE(_desktop->pasteboard.text(), text);
    }

    void theTitleCounts() {
        constexpr int title = 260'000;
        const int most = 4 * title - 2 * title - int(publicUrlName.size() + publicHtml.size());
        const auto formsWith = [&](int html) {
            return native(*capture({{{publicUrlName, QByteArray(title, 'x')},
                                     {publicHtml, QByteArray(html, 'h')}}}))
                .keys();
        };
        QCOMPARE(formsWith(most), (QStringList{publicHtml, publicUrlName}));
        QCOMPARE(formsWith(most + 1), QStringList{publicUrlName});
    }

    void nativeFormsAloneAreTheClip_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("isKept");
        QTest::newRow("one below") << 9'999'998 << true;
        QTest::newRow("at the limit") << 9'999'999 << true;
        QTest::newRow("one above") << 10'000'000 << false;
    }
    void nativeFormsAloneAreTheClip() {
        QFETCH(int, size);
        QFETCH(bool, isKept);
        const QString type = QStringLiteral("x.drawing");
        const auto clip = capture({{{type, QByteArray(size - type.size(), 'x')}}});
        QCOMPARE(native(*clip).contains(type), isKept);
        QCOMPARE(clip->contentHash() != 0, isKept);
    }

    void photoTravelsOnce_data() {
        QTest::addColumn<QString>("type");
        QTest::newRow("of this desktop") << NSTIFFPboardType;
        QTest::newRow("under its own name") << publicPng;
        QTest::newRow("under its old name") << applePng;
    }
    void photoTravelsOnce() {
        QFETCH(QString, type);
        static const QByteArray photo = encoded(noise({3000, 2000}), "png");
        const auto clip = capture({{{type, photo}, {NSStringPboardType, "photo"}}});
        const auto item = clip->firstItem();
        QVERIFY(item->hasJPEG());
        const QByteArray image = *item->imageData();
        QCOMPARE(QImage::fromData(image).size(), QSize(1600, 1067));
        // The placeholder: here the image comes back as the clip's own.
        QCOMPARE(native(*clip), (Native{{NSTIFFPboardType, ""}, {NSStringPboardType, "photo"}}));
        QVERIFY(clip->size() < quint64(image.size()) + 100);
    }

    void aPhotoOf24MegapixelsArrives() {
        const QByteArray photo = encoded(plain({6000, 4000}), "jpeg");
        const auto clip = capture({{{NSTIFFPboardType, photo}}});
        QCOMPARE(QImage::fromData(*clip->firstItem()->imageData()).size(), QSize(1600, 1067));
        QVERIFY(clip->size() <= ZRKClipmuleData::largestTravelling);
    }

    void damagedImageLeavesNoPlaceholder() {
        const QByteArray garbage(9'999'999, 'x');
        const auto clip = capture({{{publicPng, garbage}, {NSStringPboardType, "text"}}});
        QCOMPARE(native(*clip), (Native{{NSStringPboardType, "text"}}));
    }

    void formsBesideImageFilesAreLeftOut() {
        const QByteArray image = encoded(noise({500, 200}), "png");
        const QStringList paths{write(QStringLiteral("a.png"), image),
                                write(QStringLiteral("b.png"), image)};
        _desktop->application.current = identifierOf(ApplicationRole::FileManager);
        const auto formsWith = [&](int html) {
            const auto clip = capture(
                {{{NSFilenamesPboardType, fileNames(paths)}, {publicHtml, QByteArray(html, 'h')}}});
            return clip->itemCount() == 2 ? native(*clip).keys() : QStringList();
        };
        const auto clip = capture({{{NSFilenamesPboardType, fileNames(paths)}}});
        // What the phones read: two images and their names.
        const quint64 portable = 2 * quint64(clip->firstItem()->imageData()->size() + 5);
        const int left = int(4 * portable - clip->size() - quint64(publicHtml.size()));
        QCOMPARE(formsWith(left), (QStringList{NSFilenamesPboardType, publicHtml}));
        QCOMPARE(formsWith(left + 1), QStringList{NSFilenamesPboardType});
    }

    void imageBesideImageFilesLeavesItsPlaceholder() {
        const QByteArray image = encoded(plain({50, 20}), "png");
        const QStringList paths{write(QStringLiteral("a.png"), image)};
        _desktop->application.current = identifierOf(ApplicationRole::FileManager);
        const auto clip = capture(
            {{{NSFilenamesPboardType, fileNames(paths)}, {publicPng, QByteArray(1'000'000, 'x')}}});
        QCOMPARE(native(*clip).keys(), (QStringList{NSFilenamesPboardType, NSTIFFPboardType}));
        QCOMPARE(native(*clip).value(NSTIFFPboardType), QByteArray(""));
    }

    void filesWithoutTextAreTheirNames_data() {
        QTest::addColumn<QByteArray>("files");
        QTest::addColumn<std::optional<QString>>("text");
        const auto row = [](const char *name, const QByteArray &files,
                            const std::optional<QString> &text) {
            QTest::newRow(name) << files << text;
        };
        row("one", fileNames({QStringLiteral("/home/a/one letter.txt")}),
            QStringLiteral("one letter.txt"));
        row("several, a folder among them",
            fileNames(
                {QStringLiteral("/a/x.png"), QStringLiteral("/b/folder/"), QStringLiteral("/c")}),
            QStringLiteral("x.png\nfolder\nc"));
        row("the root", fileNames({QStringLiteral("/")}), QStringLiteral("/"));
    }
    void filesWithoutTextAreTheirNames() {
        QFETCH(QByteArray, files);
        QFETCH(std::optional<QString>, text);
        // Two of the file managers offer neither text nor image.
        QCOMPARE(capture({{{NSFilenamesPboardType, files}}})->firstItem()->string(), text);
        const std::optional<QString> own(QStringLiteral("own"));
        QCOMPARE(capture({{{NSFilenamesPboardType, files}, {NSStringPboardType, "own"}}})
                     ->firstItem()
                     ->string(),
                 own);
        const QByteArray png = encoded(plain({4, 4}), "png");
        QVERIFY(!capture({{{NSFilenamesPboardType, files}, {NSTIFFPboardType, png}}})
                     ->firstItem()
                     ->hasString());
        QVERIFY(!capture({{{NSFilenamesPboardType, files}, {NSURLPboardType, "http://a.org/"}}})
                     ->firstItem()
                     ->hasString());
    }

    void clipsWithoutReadingsAreToldApart() {
        const auto hashOf = [&](const QList<Copied::Representation> &contents) {
            return capture(contents)->contentHash();
        };
        const QString type = QStringLiteral("x.drawing");
        const size_t hash = hashOf({{type, "a"}});
        QVERIFY(hash != 0);
        QCOMPARE(hashOf({{type, "a"}}), hash);
        QVERIFY(hashOf({{type, "b"}}) != hash);
        QVERIFY(hashOf({{QStringLiteral("x.another"), "a"}}) != hash);
        QVERIFY(hashOf({{type, ""}}) != 0);
        QCOMPARE(hashOf({{type, std::nullopt}}), size_t(0));
        // What the phones read decides, where there is any.
        const auto text = capture({{{NSStringPboardType, "text"}, {type, "a"}}});
        QCOMPARE(text->contentHash(), text->hash());
        QCOMPARE(hashOf({{NSStringPboardType, "text"}, {type, "b"}}), text->hash());
        QCOMPARE(ZRKClipmuleData().contentHash(), size_t(0));
    }

    // A reduced picture's full size is kept as long as the clip has room for it.
    void roomForTheFullSize_data() {
        QTest::addColumn<int>("text");
        QTest::addColumn<int>("beyond");
        QTest::addColumn<bool>("isKept");
        for (const int text : {0, 600'000}) {
            QTest::addRow("%d letters, one below", text) << text << -1 << true;
            QTest::addRow("%d letters, at the limit", text) << text << 0 << true;
            QTest::addRow("%d letters, one above", text) << text << 1 << false;
        }
    }
    void roomForTheFullSize() {
        QFETCH(int, text);
        QFETCH(int, beyond);
        QFETCH(bool, isKept);
        const QImage image = plain({2000, 1000});
        const QByteArray small = encoded(image, "png");
        const int reduced = int(ZRKClipmuleData::portableImageData(small, nullptr)->size());
        const int portable = text + reduced;
        const int natively =
            int(NSTIFFPboardType.size()) + (text > 0 ? text + int(NSStringPboardType.size()) : 0);
        const int room = std::max(1'000'000, 4 * portable) - portable - natively;
        const QByteArray png = padded(small, room + beyond);
        QVERIFY(png.size() < 1'500'000);
        Copied copied({{NSTIFFPboardType, png}});
        if (text > 0)
            copied.contents.text = QByteArray(text, 't');
        const Native forms = native(*capture(copied));
        QCOMPARE(forms.value(NSTIFFPboardType, "none"), isKept ? png : QByteArray(""));
    }

    // Byte for byte: other desktops read them.
    void whatDesktopsReadIsInTheirForms() {
        _desktop->pasteboard.copyByAnotherApplication(
            {.text = "caf\xc3\xa9",
             .html = "<b>",
             .rtf = "{\\rtf1}",
             .files = {QStringLiteral("/a b.png"), QStringLiteral("/<ü>")},
             .url = QUrl(QStringLiteral("https://a.org/ü?b=c&d")),
             .title = QStringLiteral("Tïtle")});
        const auto clip = ZRKClipmuleData::initFromPasteboard(_desktop->services);
        const QByteArray head =
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n";
        const Native expected{
            {NSStringPboardType, "caf\xc3\xa9"},
            {publicHtml, "<b>"},
            {NSRTFPboardType, "{\\rtf1}"},
            {NSFilenamesPboardType, head + "<array>\n\t<string>/a b.png</string>\n"
                                           "\t<string>/&lt;\xc3\xbc&gt;</string>\n"
                                           "</array>\n</plist>\n"},
            {NSURLPboardType, head + "<array>\n\t<string>https://a.org/%C3%BC?b=c&amp;d</string>\n"
                                     "\t<string></string>\n</array>\n</plist>\n"},
            {publicUrlName, "T\xc3\xaftle"}};
        QCOMPARE(clip->firstItem()->nativeDictionary(), std::optional(expected));
        QCOMPARE(clip->firstItem()->url(),
                 std::optional(QUrl(QStringLiteral("https://a.org/ü?b=c&d"))));
        QCOMPARE(clip->title(), std::optional(QStringLiteral("Tïtle")));
    }

    // A program may call what it has by any name.
    void onesOwnReadingsGoBeforeOthersUnderTheirNames() {
        _desktop->pasteboard.copyByAnotherApplication(
            {.text = "text",
             .images = {encoded(plain({4, 4}), "png")},
             .others = {{NSStringPboardType, "other"},
                        {publicPng, encoded(plain({5, 5}), "png")}}});
        const auto item = ZRKClipmuleData::initFromPasteboard(_desktop->services)->firstItem();
        QCOMPARE(item->nativeDictionary()->value(NSStringPboardType), QByteArray("text"));
        QCOMPARE(item->string(), std::optional(QStringLiteral("text")));
        QCOMPARE(QImage::fromData(*item->imageData()).size(), QSize(4, 4));
        // Of an image there is the item's alone.
        _desktop->pasteboard.copyByAnotherApplication({.others = {{NSTIFFPboardType, "image"}}});
        QCOMPARE(ZRKClipmuleData::initFromPasteboard(_desktop->services)
                     ->firstItem()
                     ->nativeDictionary()
                     ->value(NSTIFFPboardType, "none"),
                 QByteArray(""));
    }

private:
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> capture(const Copied &copied) {
        _desktop->pasteboard.copyByAnotherApplication(copied.contents);
        return ZRKClipmuleData::initFromPasteboard(_desktop->services);
    }
    [[nodiscard]] static Native native(const ZRKClipmuleData &clip) {
        return clip.firstItem()->nativeDictionary().value();
    }
    [[nodiscard]] QString write(const QString &name, const QByteArray &bytes) const {
        QFile file(_desktop->folder.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(name));
        return file.fileName();
    }
    std::unique_ptr<Desktop> _desktop;
};

QTEST_MAIN(CaptureLimitsTest)
#include "tst_capturelimits.moc"
