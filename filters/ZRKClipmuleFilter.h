// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleFilterOption.h"
#include "model/ZRKClipmuleData.h"
#include "model/ZRKClipmuleDataItem.h"
#include "platform/foundation/Object.h"

#include <QList>
#include <QStringList>

#include <memory>

namespace clipmule {

class ZRKClipmuleFilter;

/// Hears from filters that take their time. No built-in one does.
class ZRKClipmuleFilterDelegate {
public:
    ZRKClipmuleFilterDelegate() = default;
    virtual ~ZRKClipmuleFilterDelegate() = default;
    ZRKClipmuleFilterDelegate(const ZRKClipmuleFilterDelegate &) = delete;
    ZRKClipmuleFilterDelegate &operator=(const ZRKClipmuleFilterDelegate &) = delete;

    virtual void filterDidFinish(ZRKClipmuleFilter &,
                                 const std::shared_ptr<ZRKClipmuleDataItem> &) {}
    virtual void filterDidCancel(ZRKClipmuleFilter &) {}
};

/// Turns one clip item into a new one. Filters are single shared objects, whose options keep their
/// values between uses. Main thread only.
class ZRKClipmuleFilter : public Object {
public:
    using List = QList<std::shared_ptr<ZRKClipmuleFilter>>;
    using Options = QList<std::shared_ptr<ZRKClipmuleFilterOption>>;

    /// All installed filters, in the order of the "filters" list of the main bundle's information
    /// dictionary; read at the first call. Names without a class are passed over.
    [[nodiscard]] static const List &allFilters();
    /// The filters of those class names, in that order.
    [[nodiscard]] static List filtersOfClasses(const QStringList &classNames);
    /// The filters that apply to the item, sorted by title.
    [[nodiscard]] static List filtersForClipmuleDataItem(ZRKClipmuleDataItem &item);
    /// The filters that apply to every item of the clip, sorted by title; none for a clip without
    /// items.
    [[nodiscard]] static List filtersForClipmuleData(ZRKClipmuleData &clip);

    [[nodiscard]] virtual bool validForClipmuleDataItem(ZRKClipmuleDataItem &item) const;
    /// Returns the filtered item. The base class returns the very item it was given.
    [[nodiscard]] virtual std::shared_ptr<ZRKClipmuleDataItem>
    filterClipmuleDataItem(const std::shared_ptr<ZRKClipmuleDataItem> &item) const;
    /// The title in the user's language.
    [[nodiscard]] virtual QString title() const;
    /// The name of the class, by which the list of installed filters knows it.
    [[nodiscard]] virtual QString className() const;

    [[nodiscard]] const Options &options() const { return _options; }
    /// The first option of that name; null when there is none.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleFilterOption> optionNamed(const QString &name) const;
    void resetOptions();

    [[nodiscard]] ZRKClipmuleFilterDelegate *delegate() const { return _delegate; }
    /// The delegate is not owned.
    void setDelegate(ZRKClipmuleFilterDelegate *delegate) { _delegate = delegate; }
    [[nodiscard]] virtual bool asynchronous() const { return false; }
    [[nodiscard]] virtual QString asynchronousMessage() const { return {}; }
    virtual void startAsynchronousFilter() {}
    virtual void cancelAsynchronousFilter() {}

    /// Negative, zero or positive, as this title comes before, with or after the other's.
    [[nodiscard]] int compare(const ZRKClipmuleFilter &other) const;
    [[nodiscard]] QString description() const override { return title(); }

protected:
    /// Adds a text field. The placeholder is looked up in the string table.
    void addTextOption(const std::optional<QString> &name, const char *placeholder);
    /// The text of the option of that name; empty where there is no such option or it has no value.
    [[nodiscard]] QString textOfOption(const QString &name) const;
    /// The user's language's text for an English one.
    [[nodiscard]] static QString localised(const char *text);

private:
    Options _options;
    ZRKClipmuleFilterDelegate *_delegate = nullptr;
};

} // namespace clipmule
