// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PhoneListModel.h"

#include "preferences/PanelTexts.h"
#include "preferences/WindowParts.h"

#include <QApplication>
#include <QLocale>
#include <QPainter>
#include <QRegularExpression>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace clipmule {

using WindowParts::mixed;

namespace {

using Phone = PhoneList::Phone;
using Presence = PhoneList::Presence;

// UTF-16 units that are shown of one entry of what a phone tells about itself.
constexpr qsizetype longestDetail = 64;

auto isNamed(const QString &service) {
    return [&service](const Phone &phone) { return phone.service == service; };
}

// "today at 13:05", "yesterday at 9:00", or a date, in the user's language and zone.
QString dateAndTime(Date date, Date now) {
    const QDateTime local = date.toDateTime().toLocalTime();
    const qint64 daysAgo = local.date().daysTo(now.toDateTime().toLocalTime().date());
    const QLocale locale;
    // Some locales' short form has seconds, which nobody needs to know here.
    static const QRegularExpression seconds(QStringLiteral("[:.]?ss?(?=[^a-z]|$)"));
    const QString time =
        locale.toString(local.time(), locale.timeFormat(QLocale::ShortFormat).remove(seconds));
    if (daysAgo == 0)
        return PanelTexts::tr("today at %1").arg(time);
    if (daysAgo == 1)
        return PanelTexts::tr("yesterday at %1").arg(time);
    return locale.toString(local.date(), QLocale::ShortFormat);
}

QStringList details(const Phone &phone) {
    QStringList result;
    for (const auto &[key, value] : phone.details.asKeyValueRange()) {
        // Values that are bytes are for programs.
        const auto *text = value.as<QString>();
        if (!text)
            continue;
        const QString shown =
            ShownText::onOneLine(text->isEmpty() ? key : key + QStringLiteral(": ") + *text);
        result.append(shown.size() > longestDetail ? shown.first(longestDetail) + u'…' : shown);
    }
    return result;
}

// The tool tip as markup. What the phone says in it is escaped.
QString toolTip(const Phone &phone) {
    QString text = ShownText::onOneLine(phone.service).toHtmlEscaped();
    for (const QString &detail : details(phone))
        text += QStringLiteral("<br/>") + detail.toHtmlEscaped();
    return QStringLiteral("<qt>%1</qt>").arg(text);
}

} // namespace

void PhoneListModel::setPhones(const QList<Phone> &phones, const Circumstances &circumstances) {
    removeMissing(phones);
    for (qsizetype i = 0; i < phones.size(); ++i) {
        const auto present =
            std::find_if(_phones.begin() + i, _phones.end(), isNamed(phones[i].service));
        const qsizetype from = present - _phones.begin();
        if (present == _phones.end()) {
            beginInsertRows({}, int(i), int(i));
            _phones.insert(i, phones[i]);
            endInsertRows();
        } else if (from != i) {
            beginMoveRows({}, int(from), int(from), {}, int(i));
            _phones.move(from, i);
            endMoveRows();
        }
    }
    if (_phones == phones && _circumstances == circumstances)
        return;
    _phones = phones;
    _circumstances = circumstances;
    if (!_phones.isEmpty())
        Q_EMIT dataChanged(index(0), index(int(_phones.size()) - 1));
}

void PhoneListModel::removeMissing(const QList<Phone> &phones) {
    for (qsizetype i = _phones.size(); i-- > 0;) {
        if (std::none_of(phones.begin(), phones.end(), isNamed(_phones[i].service))) {
            beginRemoveRows({}, int(i), int(i));
            _phones.removeAt(i);
            endRemoveRows();
        }
    }
}

QString PhoneListModel::serviceAt(const QModelIndex &index) const {
    return index.isValid() ? _phones[index.row()].service : QString();
}

QModelIndex PhoneListModel::indexOf(const QString &service) const {
    const auto found = std::find_if(_phones.begin(), _phones.end(), isNamed(service));
    return found == _phones.end() ? QModelIndex() : index(int(found - _phones.begin()));
}

int PhoneListModel::rowCount(const QModelIndex &parent) const {
    return parent.isValid() ? 0 : int(_phones.size());
}

QVariant PhoneListModel::data(const QModelIndex &index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Phone &phone = _phones[index.row()];
    switch (role) {
    case Qt::DisplayRole:
        return phone.name;
    case ServiceRole:
        return phone.service;
    case DescriptionRole:
        return description(phone);
    case PresenceRole:
        return phone.isRegistered ? QVariant(int(phone.presence)) : QVariant();
    case Qt::ToolTipRole:
        return toolTip(phone);
    case Qt::AccessibleTextRole:
        return phone.name + QStringLiteral(", ") + description(phone);
    default:
        return {};
    }
}

QString PhoneListModel::description(const Phone &phone) const {
    QStringList parts;
    if (phone.isRegistered)
        parts.append(phone.isLocal() ? localPresenceText(phone) : presenceText(phone));
    if (phone.isLocal())
        parts.append(PanelTexts::tr("On this computer"));
    if (const QString own = ShownText::onOneLine(LocalNames::ownName(phone.service));
        phone.name != own)
        parts.append(own);
    if (!phone.address.isEmpty())
        parts.append(PanelTexts::tr("by hand at %1").arg(phone.address));
    parts.append(details(phone));
    parts.removeAll(QString());
    if (parts.isEmpty())
        parts.append(PanelTexts::tr("Ready to be paired"));
    return parts.join(QStringLiteral(" · "));
}

QString PhoneListModel::presenceText(const Phone &phone) const {
    switch (phone.presence) {
    case Presence::Connected:
        return PanelTexts::tr("Connected");
    case Presence::Seen:
        if (!_circumstances.agentRuns || !_circumstances.syncEnabled)
            return PanelTexts::tr("On the network");
        if (!phone.lastError.isEmpty())
            return PanelTexts::tr("Not connected: %1").arg(phone.lastError);
        return PanelTexts::tr("On the network, not connected");
    case Presence::NotSeen:
        break;
    }
    if (!phone.lastSeen)
        return PanelTexts::tr("Not seen yet");
    return PanelTexts::tr("Not on the network, last seen %1")
        .arg(dateAndTime(*phone.lastSeen, _circumstances.now));
}

QString PhoneListModel::localPresenceText(const Phone &phone) const {
    switch (phone.presence) {
    case Presence::Connected:
        return PanelTexts::tr("Connected");
    case Presence::Seen:
        // That it is there is said beside this.
        if (!_circumstances.agentRuns || !_circumstances.syncEnabled)
            return {};
        if (!phone.lastError.isEmpty())
            return PanelTexts::tr("Not connected: %1").arg(phone.lastError);
        return PanelTexts::tr("Not connected");
    case Presence::NotSeen:
        break;
    }
    if (!phone.lastSeen)
        return PanelTexts::tr("Not seen yet");
    return PanelTexts::tr("Not running, last seen %1")
        .arg(dateAndTime(*phone.lastSeen, _circumstances.now));
}

namespace {

using Presence = PhoneList::Presence;

// Distances in device-independent pixels.
constexpr int padding = 8;
constexpr int iconSize = 20;
constexpr int lineGap = 2;
// The contrast that the guidelines for accessible contents want of small text.
constexpr double leastContrast = 4.5;

struct Places {
    QRect icon;
    QRect name;
    QRect description;
};

QFont descriptionFont(const QFont &font) {
    QFont smaller = font;
    if (font.pointSizeF() > 0)
        smaller.setPointSizeF(font.pointSizeF() * 0.9);
    return smaller;
}

Places placesIn(const QStyleOptionViewItem &option) {
    const int nameHeight = QFontMetrics(option.font).height();
    const int descriptionHeight = QFontMetrics(descriptionFont(option.font)).height();
    const QRect inner = option.rect.adjusted(padding, 0, -padding, 0);
    const int top = inner.center().y() - (nameHeight + lineGap + descriptionHeight) / 2;
    const int textLeft = inner.left() + iconSize + padding;
    const int width = inner.right() - textLeft + 1;
    Places places{
        QRect(inner.left(), inner.center().y() - iconSize / 2 + 1, iconSize, iconSize),
        QRect(textLeft, top, width, nameHeight),
        QRect(textLeft, top + nameHeight + lineGap, width, descriptionHeight),
    };
    for (QRect *place : {&places.icon, &places.name, &places.description})
        *place = QStyle::visualRect(option.direction, option.rect, *place);
    return places;
}

bool isDark(const QPalette &palette) {
    return palette.color(QPalette::Base).lightness() < 128;
}

double luminance(const QColor &color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

double contrast(const QColor &one, const QColor &other) {
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

// The ground as near to what the theme wants as the text on it can be read.
QColor readableGround(QColor ground, const QColor &text) {
    const QColor away = luminance(text) > luminance(ground) ? Qt::black : Qt::white;
    for (int step = 0; step < 20 && contrast(ground, text) < leastContrast; ++step)
        ground = mixed(ground, away, 0.05);
    return ground;
}

// Paler than the text, as long as it can be read.
QColor muted(const QColor &text, const QColor &ground) {
    for (const double share : {0.3, 0.2, 0.1}) {
        const QColor paler = mixed(text, ground, share);
        if (contrast(paler, ground) >= leastContrast)
            return paler;
    }
    return text;
}

// Two lists have a current phone each; the strong colour is for the one that has the keyboard.
void soften(QStyleOptionViewItem &item) {
    const bool strong = !item.widget || item.widget->hasFocus();
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        QPalette &palette = item.palette;
        if (strong) {
            palette.setColor(group, QPalette::Highlight,
                             readableGround(palette.color(group, QPalette::Highlight),
                                            palette.color(group, QPalette::HighlightedText)));
            continue;
        }
        palette.setColor(group, QPalette::Highlight,
                         mixed(palette.color(group, QPalette::Base),
                               palette.color(group, QPalette::Highlight),
                               isDark(palette) ? 0.35 : 0.18));
        palette.setColor(group, QPalette::HighlightedText, palette.color(group, QPalette::Text));
    }
}

// Each state has a shape of its own: colour is not seen by everybody.
void paintPresence(QPainter &painter, const QRectF &place, Presence presence, const QColor &text,
                   bool selected, bool dark) {
    const QRectF circle = place.adjusted(2.5, 2.5, -2.5, -2.5);
    const QColor green = dark ? QColor(0x57, 0xc9, 0x7a) : QColor(0x1b, 0x7a, 0x3d);
    const QColor color = !selected && presence == Presence::Connected ? green : text;
    if (presence == Presence::Connected) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        painter.drawEllipse(circle.adjusted(-0.75, -0.75, 0.75, 0.75));
        // The check mark is cut out in what contrasts with the disc.
        painter.setPen(QPen(color.lightness() < 128 ? Qt::white : Qt::black, 1.8, Qt::SolidLine,
                            Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        const QPointF center = circle.center();
        painter.drawPolyline(QPolygonF{center + QPointF(-3.4, 0.2), center + QPointF(-0.9, 2.7),
                                       center + QPointF(3.6, -2.4)});
        return;
    }
    QColor muted = color;
    muted.setAlphaF(0.75F);
    painter.setBrush(Qt::NoBrush);
    if (presence == Presence::Seen) {
        painter.setPen(QPen(muted, 1.6));
        painter.drawEllipse(circle);
        painter.setPen(Qt::NoPen);
        painter.setBrush(muted);
        painter.drawEllipse(circle.center(), 2.2, 2.2);
        return;
    }
    muted.setAlphaF(0.55F);
    QPen dashed(muted, 1.6);
    dashed.setDashPattern({1.7, 1.7});
    dashed.setCapStyle(Qt::FlatCap);
    painter.setPen(dashed);
    painter.drawEllipse(circle);
}

// Draws a line at the side where the rows begin; it is cut where the text, whatever its direction,
// ends.
void drawLine(QPainter &painter, const QStyleOptionViewItem &item, const QFont &font,
              const QRect &place, const QString &text) {
    const auto alignment =
        int(QStyle::visualAlignment(item.direction, Qt::AlignLeft | Qt::AlignVCenter)) |
        Qt::AlignAbsolute | Qt::TextSingleLine;
    painter.setLayoutDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    painter.setFont(font);
    painter.drawText(place, alignment,
                     QFontMetrics(font).elidedText(text, Qt::ElideRight, place.width()));
}

void paintPhone(QPainter &painter, const QRectF &place, const QColor &color) {
    QColor muted = color;
    muted.setAlphaF(0.75F);
    painter.setPen(QPen(muted, 1.5));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(place.adjusted(4.75, 1.75, -4.75, -1.75), 2.5, 2.5);
    painter.setPen(QPen(muted, 1.5, Qt::SolidLine, Qt::RoundCap));
    const double bottom = place.bottom() - 4.5;
    painter.drawLine(QPointF(place.center().x() - 1.2, bottom),
                     QPointF(place.center().x() + 1.2, bottom));
}

} // namespace

void PhoneDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const {
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    soften(item);
    const QStyle *const style = item.widget ? item.widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &item, painter, item.widget);

    const bool selected = item.state.testFlag(QStyle::State_Selected);
    const bool strong = selected && item.widget && item.widget->hasFocus();
    const auto group = !item.state.testFlag(QStyle::State_Enabled) ? QPalette::Disabled
                       : item.state.testFlag(QStyle::State_Active) ? QPalette::Active
                                                                   : QPalette::Inactive;
    const QColor text =
        item.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text);
    const Places places = placesIn(item);

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QVariant presence = index.data(PhoneListModel::PresenceRole);
    if (presence.isValid())
        paintPresence(*painter, places.icon, Presence(presence.toInt()), text, strong,
                      isDark(item.palette));
    else
        paintPhone(*painter, places.icon, text);

    const QColor ground =
        item.palette.color(group, selected ? QPalette::Highlight : QPalette::Base);
    const QFont smaller = descriptionFont(item.font);
    painter->setPen(text);
    drawLine(*painter, item, item.font, places.name, item.text);
    painter->setPen(muted(text, ground));
    drawLine(*painter, item, smaller, places.description,
             index.data(PhoneListModel::DescriptionRole).toString());
    painter->restore();

    if (item.state.testFlag(QStyle::State_HasFocus)) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(item);
        focus.state |= QStyle::State_KeyboardFocusChange | QStyle::State_Item;
        focus.backgroundColor =
            item.palette.color(group, selected ? QPalette::Highlight : QPalette::Base);
        style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, item.widget);
    }
}

QSize PhoneDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const {
    const int text = QFontMetrics(option.font).height() + lineGap +
                     QFontMetrics(descriptionFont(option.font)).height();
    return {10 * iconSize, std::max(text, iconSize) + 2 * padding};
}

} // namespace clipmule
