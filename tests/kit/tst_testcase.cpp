// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"

#include <QCoreApplication>
#include <QTest>

#include <cstdio>

using namespace clipmule;

namespace {

// What has become of the class below.
int begun = 0;
int ended = 0;
int run = 0;

} // namespace

class WarningCase final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        ++begun;
        QVERIFY(begun != 3);
    }
    void end() override { ++ended; }

private Q_SLOTS:
    void warns() {
        ++run;
        qWarning("nobody has announced this");
    }
    void announces() {
        ++run;
        QTest::ignoreMessage(QtWarningMsg, "this was announced");
        qWarning("this was announced");
    }
    void isNotPrepared() { ++run; }
};

// The first of three fails for its warning, the last one is not run since it could not be prepared.
int main(int argc, char *argv[]) {
    const QCoreApplication application(argc, argv);
    WarningCase test;
    const int failed = QTest::qExec(&test, {QStringLiteral("tst_testcase")});
    std::printf("%d of 3 failed, %d were run, %d begun and %d ended\n", failed, run, begun, ended);
    return failed == 2 && run == 2 && begun == 3 && ended == 2 ? 0 : 1;
}

#include "tst_testcase.moc"
