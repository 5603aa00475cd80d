// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/preferences/ObservationTable.h"

#include <QRegularExpression>
#include <QTest>

#include <optional>

using namespace clipmule;

class ObservationTableTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        _told.clear();
        _table.emplace([this](const QString &name) { _told << u'+' + name; },
                       [this](const QString &name) { _told << u'-' + name; });
    }

    void theFirstAndTheLastAreTold() {
        auto first = observe();
        QCOMPARE(_told, QStringList(QStringLiteral("+name")));
        auto second = observe();
        QCOMPARE(_table->names(), QStringList(QStringLiteral("name")));
        QCOMPARE(observers(), 2);
        first.reset();
        QCOMPARE(_told, QStringList(QStringLiteral("+name")));
        QCOMPARE(observers(), 1);
        second.reset();
        QCOMPARE(_told, QStringList({QStringLiteral("+name"), QStringLiteral("-name")}));
        QCOMPARE(_table->names(), QStringList());
        first = observe();
        QCOMPARE(_told.size(), 3);
        QCOMPARE(_told.constLast(), QStringLiteral("+name"));
    }

    void namesAreApart() {
        const auto one = observe();
        const auto other = observe(QStringLiteral("other"));
        QCOMPARE(_told, QStringList({QStringLiteral("+name"), QStringLiteral("+other")}));
        QCOMPARE(observers(), 1);
    }

    void nothingIsToldAfterTheTablesEnd() {
        auto observation = observe();
        _table.reset();
        observation.reset();
        QCOMPARE(_told, QStringList(QStringLiteral("+name")));
    }

    void hooksMayBeMissing() {
        _table.emplace();
        auto observation = observe();
        QCOMPARE(observers(), 1);
        observation.reset();
        QCOMPARE(_table->names(), QStringList());
    }

private:
    std::unique_ptr<DistributedNotifications::Observation>
    observe(const QString &name = QStringLiteral("name")) {
        return _table->observe(name, [](const QString &, const PropertyList::Dictionary &) {});
    }
    [[nodiscard]] int observers() const {
        return int(_table->observers(QStringLiteral("name")).size());
    }

    QStringList _told;
    std::optional<ObservationTable> _table;
};

QTEST_GUILESS_MAIN(ObservationTableTest)
#include "tst_observationtable.moc"
