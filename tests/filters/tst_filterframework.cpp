// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/FilterClasses.h"
#include "platform/bundle/Bundle.h"
#include "platform/foundation/PlatformException.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>

#include <cstdio>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

QStringList classNames(const ZRKClipmuleFilter::List &filters) {
    QStringList names;
    for (const auto &filter : filters)
        names.append(filter->className());
    return names;
}

QStringList titles(const ZRKClipmuleFilter::List &filters) {
    QStringList names;
    for (const auto &filter : filters)
        names.append(filter->title());
    return names;
}

std::shared_ptr<ZRKClipmuleDataItem> itemWithText(const QString &text) {
    auto item = std::make_shared<ZRKClipmuleDataItem>();
    item->setString(text);
    return item;
}

class FailingFilter final : public ZRKClipmuleTextFilter {
public:
    [[nodiscard]] std::optional<QString>
    filterString(const std::optional<QString> &) const override {
        throw PlatformException(QStringLiteral("Test"), QStringLiteral("out of ideas"));
    }
};

class BrokenFilter final : public ZRKClipmuleTextFilter {
public:
    [[nodiscard]] std::optional<QString>
    filterString(const std::optional<QString> &) const override {
        throw std::logic_error("no platform exception");
    }
};

// The classes in the table of filters, which is local to its source.
QStringList tableOfFilters() {
    QFile source(QStringLiteral(CLIPMULE_TEST_DATA "/../../filters/FilterClasses.cpp"));
    if (!source.open(QFile::ReadOnly))
        return {};
    const QString table = QString::fromUtf8(source.readAll())
                              .section(u"QList<Maker> rows{"_s, 1)
                              .section(u"};"_s, 0, 0);
    static const QRegularExpression row(u"make<(\\w+)>"_s);
    QStringList names;
    for (const auto &match : row.globalMatch(table))
        names.append(match.captured(1));
    return names;
}

const QString countArgument = QStringLiteral("--count");

const QStringList sortedTitles{u"Convert to Lowercase"_s, u"Convert to Titlecase"_s,
                               u"Convert to Uppercase"_s, u"Decode HTML Entities"_s,
                               u"Encode HTML Entities"_s, u"Find and Replace"_s,
                               u"Quote Lines"_s,          u"Smarten Quotes"_s,
                               u"Straighten Quotes"_s,    u"Wrap in HTML Tags"_s};

} // namespace

class FilterFrameworkTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    // Info.plist says which filters are installed and in which order, the table which there are.
    void theInstalledFiltersAreThoseOfTheTable() {
        QCOMPARE(classNames(ZRKClipmuleFilter::allFilters()), tableOfFilters());
        QCOMPARE(tableOfFilters().size(), 10);
        QCOMPARE(ZRKClipmuleFilter::allFilters().constFirst(),
                 ZRKClipmuleFilter::allFilters().constFirst());
    }

    // A name in Info.plist that no class has would be passed over without a word.
    void everyInstalledNameHasAClass() {
        const auto information = Bundle::mainBundle().infoDictionary();
        const PropertyList installed = information.value(u"filters"_s);
        QStringList names;
        for (const PropertyList &name : installed.list())
            names.append(name.string());
        QCOMPARE(names, tableOfFilters());
    }

    void theManualNamesEachFilter() {
        QFile manual(QStringLiteral(CLIPMULE_TEST_DATA "/../../packaging/man/clipmule-filter.1"));
        QVERIFY(manual.open(QFile::ReadOnly));
        const QString text = QString::fromUtf8(manual.readAll());
        const QString chapter = text.section(u".SH FILTERS\n"_s, 1).section(u"\n.SH "_s, 0, 0);
        // ".B One Name", or ".BR "One" ", " "Another"".
        static const QRegularExpression heading(u"^\\.TP\n\\.BR? (.*)$"_s,
                                                QRegularExpression::MultilineOption);
        QStringList named;
        for (const auto &match : heading.globalMatch(chapter)) {
            for (const QString &name : match.captured(1).split(u'"', Qt::SkipEmptyParts)) {
                if (name.trimmed() != u"," && !name.trimmed().isEmpty())
                    named.append(name);
            }
        }
        named.sort();
        QCOMPARE(named, sortedTitles);
    }

    void namesWithoutAClassArePassedOver() {
        QCOMPARE(classNames(ZRKClipmuleFilter::filtersOfClasses(
                     {u"NoSuchFilter"_s, u"ZRKClipmuleLowercaseFilter"_s})),
                 QStringList{u"ZRKClipmuleLowercaseFilter"_s});
        QVERIFY(ZRKClipmuleFilter::filtersOfClasses({}).isEmpty());
    }

    void theBaseClassesAreClassesAsWell() {
        const QStringList names{u"ZRKClipmuleTextFilter"_s, u"ZRKClipmuleFilter"_s};
        const auto filters = ZRKClipmuleFilter::filtersOfClasses(names);
        QCOMPARE(classNames(filters), names);
        const auto item = itemWithText(u"a"_s);
        QCOMPARE(*filters.first()->filterClipmuleDataItem(item)->string(), u"a"_s);
        QVERIFY(!filters.last()->validForClipmuleDataItem(*item));
    }

    // The list is read once in the life of a process.
    void withoutAListThereAreNone_data() {
        QTest::addColumn<QByteArray>("information");
        QTest::addColumn<QByteArray>("count");
        QTest::newRow("no key") << QByteArray("{}") << QByteArray("0");
        QTest::newRow("no list") << QByteArray("{filters = text;}") << QByteArray("0");
        QTest::newRow("one") << QByteArray("{filters = (ZRKClipmuleLowercaseFilter);}")
                             << QByteArray("1");
    }
    void withoutAListThereAreNone() {
        QFETCH(QByteArray, information);
        const QTemporaryDir folder;
        QFile file(folder.filePath(u"Info.plist"_s));
        QVERIFY(file.open(QFile::WriteOnly));
        file.write(information);
        file.close();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"CLIPMULE_RESOURCES"_s, folder.path());
        QProcess counter;
        counter.setProcessEnvironment(environment);
        counter.start(QCoreApplication::applicationFilePath(), {countArgument});
        QVERIFY(counter.waitForFinished());
        QCOMPARE(counter.exitStatus(), QProcess::NormalExit);
        QTEST(counter.readAllStandardOutput(), "count");
    }

    void filtersOfAnItemComeByTitle() {
        QCOMPARE(titles(ZRKClipmuleFilter::filtersForClipmuleDataItem(*itemWithText(u"a"_s))),
                 sortedTitles);
    }

    void anItemWithoutTextOrWithAnImageHasNone() {
        QVERIFY(
            ZRKClipmuleFilter::filtersForClipmuleDataItem(*std::make_shared<ZRKClipmuleDataItem>())
                .isEmpty());
        const auto both = itemWithText(u"a"_s);
        both->setImageData(QByteArray("image"));
        QVERIFY(ZRKClipmuleFilter::filtersForClipmuleDataItem(*both).isEmpty());
    }

    void filtersOfAClipAreThoseOfAllItsItems() {
        QCOMPARE(titles(ZRKClipmuleFilter::filtersForClipmuleData(
                     *ZRKClipmuleData::initWithStrings({u"a"_s, u"b"_s}))),
                 sortedTitles);
        const auto mixed = ZRKClipmuleData::initWithItems(
            {itemWithText(u"a"_s), std::make_shared<ZRKClipmuleDataItem>()});
        QVERIFY(ZRKClipmuleFilter::filtersForClipmuleData(*mixed).isEmpty());
        const auto empty = ZRKClipmuleData::initWithItems({});
        QVERIFY(ZRKClipmuleFilter::filtersForClipmuleData(*empty).isEmpty());
    }

    void optionsAreAsTheyAreShown() {
        const auto shown = [](const QString &name) {
            QStringList texts;
            const auto filter = makeFilterOfClass(name);
            for (const auto &option : filter->options())
                texts.append(QStringLiteral("%1|%2|%3")
                                 .arg(option->name().value_or(u"-"_s), option->placeholder())
                                 .arg(option->type()));
            return texts;
        };
        QCOMPARE(shown(u"ZRKClipmuleQuoteLinesFilter"_s),
                 (QStringList{u"start|Start Quote|2"_s, u"end|End Quote|2"_s}));
        QCOMPARE(shown(u"ZRKClipmuleFindReplaceFilter"_s),
                 (QStringList{u"find|Find|2"_s, u"replace|Replace|2"_s}));
        QCOMPARE(shown(u"ZRKClipmuleWrapHTMLFilter"_s), QStringList{u"-|Enter a Tag|2"_s});
        QCOMPARE(shown(u"ZRKClipmuleLowercaseFilter"_s), QStringList());
    }

    void anOptionIsFoundByItsName() {
        const auto quote = makeFilterOfClass(u"ZRKClipmuleQuoteLinesFilter"_s);
        QCOMPARE(quote->optionNamed(u"end"_s), quote->options().last());
        QVERIFY(!quote->optionNamed(u"middle"_s));
        const auto wrap = makeFilterOfClass(u"ZRKClipmuleWrapHTMLFilter"_s);
        QVERIFY(!wrap->optionNamed(u""_s));
        QVERIFY(!wrap->optionNamed(u"Enter a Tag"_s));
    }

    void resettingLeavesEveryValueMissing() {
        const auto quote = makeFilterOfClass(u"ZRKClipmuleQuoteLinesFilter"_s);
        quote->optionNamed(u"start"_s)->setValue(PropertyList(u"x"_s));
        quote->resetOptions();
        for (const auto &option : quote->options())
            QVERIFY(!option->value());
    }

    void resettingRestoresADefault() {
        ZRKClipmuleFilterOption option;
        option.setDefaultValue(PropertyList(5));
        option.setValue(PropertyList(7));
        option.reset();
        QCOMPARE(*option.value(), PropertyList(5));
    }

    void valuesAreReadWhenFiltering() {
        const auto quote = makeFilterOfClass(u"ZRKClipmuleQuoteLinesFilter"_s);
        const auto item = itemWithText(u"a"_s);
        quote->optionNamed(u"start"_s)->setValue(PropertyList(u"1"_s));
        QCOMPARE(*quote->filterClipmuleDataItem(item)->string(), u"1a"_s);
        quote->optionNamed(u"start"_s)->setValue(PropertyList(u"2"_s));
        QCOMPARE(*quote->filterClipmuleDataItem(item)->string(), u"2a"_s);
    }

    void titlesAreComparedByCase() {
        class Titled final : public ZRKClipmuleFilter {
        public:
            explicit Titled(QString title)
                : _title(std::move(title)) {}
            [[nodiscard]] QString title() const override { return _title; }

        private:
            QString _title;
        };
        // Capital letters stand before all small ones.
        QVERIFY(Titled(u"B"_s).compare(Titled(u"a"_s)) < 0);
        QVERIFY(Titled(u"a"_s).compare(Titled(u"B"_s)) > 0);
        QCOMPARE(Titled(u"a"_s).compare(Titled(u"a"_s)), 0);
        QVERIFY(Titled(u"a"_s).compare(Titled(u"A"_s)) != 0);
    }

    void titlesAndPlaceholdersAreLookedUp() {
        class Marker final : public QTranslator {
        public:
            [[nodiscard]] bool isEmpty() const override { return false; }
            [[nodiscard]] QString translate(const char *context, const char *text, const char *,
                                            int) const override {
                return QByteArray(context) == "Clipmule" ? u'<' + QString::fromLatin1(text) + u'>'
                                                         : QString();
            }
        };
        Marker marker;
        QCoreApplication::installTranslator(&marker);
        for (const auto &installed : ZRKClipmuleFilter::allFilters()) {
            const auto filter = makeFilterOfClass(installed->className());
            QVERIFY2(filter->title().startsWith(u'<'), qPrintable(filter->title()));
            QCOMPARE(filter->description(), filter->title());
            for (const auto &option : filter->options())
                QVERIFY2(option->placeholder().startsWith(u'<'), qPrintable(option->placeholder()));
        }
        QCoreApplication::removeTranslator(&marker);
    }

    void everyOptionIsReset() {
        for (const auto &filter : ZRKClipmuleFilter::allFilters()) {
            for (const auto &option : filter->options())
                option->setValue(PropertyList(u"x"_s));
            filter->resetOptions();
            for (const auto &option : filter->options())
                QVERIFY(!option->value());
        }
    }

    void onlyTheTextIsCarriedOver() {
        const auto item = itemWithText(u"Text"_s);
        item->setURL(QUrl(u"http://example.org"_s));
        item->setImageData(QByteArray("image"));
        const auto filtered =
            makeFilterOfClass(u"ZRKClipmuleUppercaseFilter"_s)->filterClipmuleDataItem(item);
        QVERIFY(filtered != item);
        QCOMPARE(*filtered->string(), u"TEXT"_s);
        QVERIFY(!filtered->hasURL());
        QVERIFY(!filtered->hasImageData());
        QCOMPARE(*item->string(), u"Text"_s);
    }

    void nativeDataIsNotCarriedOver() {
        const auto item = ZRKClipmuleDataItem::initWithDictionary(PropertyList::Dictionary{
            {u"string"_s, u"Text"_s},
            {u"createdBy"_s, 2},
            {u"nativeDictionary"_s, PropertyList::Dictionary{{u"kind"_s, QByteArray("bytes")}}}});
        QVERIFY(item && item->hasNativeDictionary());
        const auto filtered =
            makeFilterOfClass(u"ZRKClipmuleUppercaseFilter"_s)->filterClipmuleDataItem(item);
        QCOMPARE(*filtered->string(), u"TEXT"_s);
        QVERIFY(!filtered->hasNativeDictionary());
    }

    void aFailureGivesACopyOfTheItem() {
        const auto item = itemWithText(u"Text"_s);
        item->setURL(QUrl(u"http://example.org/"_s));
        item->setImageData(QByteArray("image"));
        QTest::ignoreMessage(
            QtWarningMsg,
            qPrintable(
                QStringLiteral("EXCEPTION FILTERING %1 out of ideas").arg(item->description())));
        const auto filtered = FailingFilter().filterClipmuleDataItem(item);
        QVERIFY(filtered != item);
        QCOMPARE(*filtered->string(), u"Text"_s);
        QCOMPARE(filtered->url(), std::optional(QUrl(u"http://example.org/"_s)));
        QCOMPARE(filtered->imageData(), std::optional(QByteArray("image")));
    }

    void anotherExceptionPassesOn() {
        QVERIFY_EXCEPTION_THROWN((void)BrokenFilter().filterClipmuleDataItem(itemWithText(u"a"_s)),
                                 std::logic_error);
    }

    void anItemWithoutTextStaysWithout() {
        const auto filtered = makeFilterOfClass(u"ZRKClipmuleUppercaseFilter"_s)
                                  ->filterClipmuleDataItem(std::make_shared<ZRKClipmuleDataItem>());
        QVERIFY(!filtered->hasString());
    }

    void theBaseFilterDoesNothing() {
        const ZRKClipmuleFilter base;
        const auto item = itemWithText(u"a"_s);
        QVERIFY(!base.validForClipmuleDataItem(*item));
        QCOMPARE(base.filterClipmuleDataItem(item), item);
        QCOMPARE(base.title(), QString());
        QCOMPARE(base.asynchronous(), false);
        QCOMPARE(base.asynchronousMessage(), QString());
        QCOMPARE(makeFilterOfClass(u"ZRKClipmuleLowercaseFilter"_s)->description(),
                 u"Convert to Lowercase"_s);
    }

private:
    kit::ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
};

int main(int argc, char *argv[]) {
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().contains(countArgument)) {
        std::printf("%d", int(ZRKClipmuleFilter::allFilters().size()));
        return 0;
    }
    FilterFrameworkTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_filterframework.moc"
