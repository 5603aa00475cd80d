// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/preferences/DistributedNotifications.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <optional>

using namespace clipmule;

namespace {

/// Writes down whom the base class has told.
class Ends final : public DistributedNotifications {
public:
    explicit Ends(QStringList *told)
        : _told(*told) {}
    void post(const QString &name, const QString &object,
              const PropertyList::Dictionary &userInfo) override {
        delivery(name, object, userInfo)();
    }
    void comeBack() const { tellMissed(); }
    using DistributedNotifications::observedNames;

protected:
    void didBeginToObserve(const QString &name) override { _told << u'+' + name; }
    void didEndToObserve(const QString &name) override { _told << u'-' + name; }

private:
    QStringList &_told;
};

} // namespace

class ObservationTableTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _told.clear();
        _table.emplace(&_told);
    }

private Q_SLOTS:
    void theFirstAndTheLastAreTold() {
        auto first = observe();
        QCOMPARE(_told, QStringList(QStringLiteral("+name")));
        auto second = observe();
        QCOMPARE(_table->observedNames(), QStringList(QStringLiteral("name")));
        QCOMPARE(observers(), 2);
        first.reset();
        QCOMPARE(_told, QStringList(QStringLiteral("+name")));
        QCOMPARE(observers(), 1);
        second.reset();
        QCOMPARE(_told, QStringList({QStringLiteral("+name"), QStringLiteral("-name")}));
        QCOMPARE(_table->observedNames(), QStringList());
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

    void whoMissedSomeIsTold() {
        int missed = 0;
        std::unique_ptr<DistributedNotifications::Observation> first;
        std::unique_ptr<DistributedNotifications::Observation> third;
        const QString name = QStringLiteral("name");
        first = _table->observe(name, {}, [&] {
            missed += 1;
            first.reset();
            third.reset();
        });
        const auto second = _table->observe(name, {}, [&missed] { missed += 10; });
        third = _table->observe(name, {}, [&missed] { missed += 100; });
        const auto silent = observe();
        _table->comeBack();
        QCOMPARE(missed, 11);
    }

private:
    std::unique_ptr<DistributedNotifications::Observation>
    observe(const QString &name = QStringLiteral("name")) {
        return _table->observe(
            name, [this](const QString &, const PropertyList::Dictionary &) { ++_called; });
    }
    int observers() {
        _called = 0;
        _table->post(QStringLiteral("name"), QString(), {});
        return _called;
    }

    QStringList _told;
    std::optional<Ends> _table;
    int _called = 0;
};

QTEST_GUILESS_MAIN(ObservationTableTest)
#include "tst_observationtable.moc"
