// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ZRKClipmuleData.h"
#include "model/ZRKClipmuleDataItem.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/PropertyList.h"

#include <QList>
#include <QStringList>

#include <memory>
#include <optional>

namespace clipmule {

class ZRKClipmuleFilter;

/// One setting of a filter, as a front end asks for it.
class ZRKClipmuleFilterOption {
public:
    /// A one-line text field: the only kind of entry that the built-in filters use.
    static constexpr quint64 textFieldType = 2;

    /// The name by which the filter finds the option; an option may have none.
    [[nodiscard]] const std::optional<QString> &name() const { return _name; }
    void setName(const std::optional<QString> &name) { _name = name; }
    /// What the user entered; missing until something was.
    [[nodiscard]] const std::optional<PropertyList> &value() const { return _value; }
    void setValue(const std::optional<PropertyList> &value) { _value = value; }
    [[nodiscard]] const std::optional<PropertyList> &defaultValue() const { return _defaultValue; }
    void setDefaultValue(const std::optional<PropertyList> &value) { _defaultValue = value; }
    // Bounds of a number.
    [[nodiscard]] const std::optional<PropertyList> &maximumValue() const { return _maximumValue; }
    void setMaximumValue(const std::optional<PropertyList> &value) { _maximumValue = value; }
    [[nodiscard]] const std::optional<PropertyList> &minimumValue() const { return _minimumValue; }
    void setMinimumValue(const std::optional<PropertyList> &value) { _minimumValue = value; }
    /// The hint in the empty field, in the user's language.
    [[nodiscard]] const QString &placeholder() const { return _placeholder; }
    void setPlaceholder(const QString &placeholder) { _placeholder = placeholder; }
    [[nodiscard]] quint64 type() const { return _type; }
    void setType(quint64 type) { _type = type; }

    /// Sets the value to the default value again.
    void reset() { _value = _defaultValue; }
    /// The value where it is text; empty where it is missing. A value of another kind raises a
    /// PlatformException.
    [[nodiscard]] QString text() const { return _value ? _value->string() : QString(); }

private:
    std::optional<QString> _name;
    std::optional<PropertyList> _value;
    std::optional<PropertyList> _defaultValue;
    std::optional<PropertyList> _maximumValue;
    std::optional<PropertyList> _minimumValue;
    QString _placeholder;
    quint64 _type = 0;
};

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

    /// The name of the class and its title in English, both literals; without a title it has none.
    explicit ZRKClipmuleFilter(const char *className = "ZRKClipmuleFilter",
                               const char *title = nullptr)
        : _className(className)
        , _title(title) {}

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
    /// The same in English, the key to other languages than the user's; null without one.
    [[nodiscard]] const char *englishTitle() const { return _title; }
    /// The name by which the list of installed filters knows the class.
    [[nodiscard]] QString className() const { return QString::fromLatin1(_className); }

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

private:
    const char *_className;
    const char *_title;
    Options _options;
    ZRKClipmuleFilterDelegate *_delegate = nullptr;
};

/// A filter that rewrites an item's text. What else the item holds is not carried over.
class ZRKClipmuleTextFilter : public ZRKClipmuleFilter {
public:
    explicit ZRKClipmuleTextFilter(const char *className = "ZRKClipmuleTextFilter",
                                   const char *title = nullptr)
        : ZRKClipmuleFilter(className, title) {}

    /// Valid for an item with text and without an image.
    [[nodiscard]] bool validForClipmuleDataItem(ZRKClipmuleDataItem &item) const override;
    /// Returns a new item. When the transformation raises a PlatformException, which is logged, the
    /// new item is a copy of the argument.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleDataItem>
    filterClipmuleDataItem(const std::shared_ptr<ZRKClipmuleDataItem> &item) const override;

    /// The transformation; a missing text stays missing.
    [[nodiscard]] virtual std::optional<QString>
    filterString(const std::optional<QString> &text) const;

protected:
    /// The transformation of a text that is there. The base class changes nothing.
    [[nodiscard]] virtual QString filtered(const QString &text) const { return text; }
};

} // namespace clipmule
