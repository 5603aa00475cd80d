// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/kit/CompositorLayers.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"

#include <optional>

namespace clipmule::kit {

/// The class of a test program that looks at what is shown above the windows.
class LayersTestCase : public TestCase {
protected:
    /// How the compositor treats layers from now on.
    void manner(LayerManner manner) {
        _compositor->layers([&](CompositorLayers &layers) { layers.manner = manner; });
    }
    /// Those that are shown, oldest first.
    [[nodiscard]] QList<ShownLayer> shown() const {
        QList<ShownLayer> shown;
        _compositor->layers([&](const CompositorLayers &layers) { shown = layers.shown(); });
        return shown;
    }
    /// The one that is shown; an empty one where there is none, or another beside it.
    [[nodiscard]] ShownLayer only() const {
        const QList<ShownLayer> all = shown();
        return all.size() == 1 ? all.constFirst() : ShownLayer();
    }

    std::optional<TestCompositor> _compositor;
};

} // namespace clipmule::kit
