// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"

#include <QTest>

namespace clipmule::kit {

void TestCase::init() {
    // The toolkit forgets after each row what it was told before.
    QTest::failOnWarning(_forbidden);
    begin();
}

void TestCase::cleanup() {
    end();
}

} // namespace clipmule::kit
