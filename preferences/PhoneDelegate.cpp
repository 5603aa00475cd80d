// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PhoneDelegate.h"

#include "preferences/PhoneListModel.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>

namespace clipmule {

namespace {

using Presence = PhoneList::Presence;

// In device-independent pixels.
constexpr int padding = 8;
constexpr int iconSize = 20;
constexpr int lineGap = 2;

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

QColor mixed(const QColor &one, const QColor &other, double share) {
    const auto mix = [share](int from, int to) { return int(from + (to - from) * share); };
    return {mix(one.red(), other.red()), mix(one.green(), other.green()),
            mix(one.blue(), other.blue())};
}

// Two lists have a current phone each; the strong colour is for the one that has the keyboard.
void soften(QStyleOptionViewItem &item) {
    if (!item.widget || item.widget->hasFocus())
        return;
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        QPalette &palette = item.palette;
        palette.setColor(group, QPalette::Highlight,
                         mixed(palette.color(group, QPalette::Base),
                               palette.color(group, QPalette::Highlight),
                               isDark(palette) ? 0.35 : 0.18));
        palette.setColor(group, QPalette::HighlightedText, palette.color(group, QPalette::Text));
    }
}

// Each has a shape of its own: colour is not seen by everybody.
void paintPresence(QPainter &painter, const QRectF &place, Presence presence, const QColor &text,
                   bool selected, bool dark) {
    const QRectF circle = place.adjusted(2.5, 2.5, -2.5, -2.5);
    const QColor green = dark ? QColor(0x57, 0xc9, 0x7a) : QColor(0x1b, 0x7a, 0x3d);
    const QColor color = selected ? text : presence == Presence::Connected ? green : text;
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

    const auto alignment =
        int(QStyle::visualAlignment(item.direction, Qt::AlignLeft | Qt::AlignVCenter)) |
        Qt::TextSingleLine;
    painter->setPen(text);
    painter->setFont(item.font);
    painter->drawText(places.name, alignment,
                      item.fontMetrics.elidedText(item.text, Qt::ElideRight, places.name.width()));
    QColor muted = text;
    muted.setAlphaF(0.78F);
    painter->setPen(muted);
    const QFont smaller = descriptionFont(item.font);
    painter->setFont(smaller);
    painter->drawText(
        places.description, alignment,
        QFontMetrics(smaller).elidedText(index.data(PhoneListModel::DescriptionRole).toString(),
                                         Qt::ElideRight, places.description.width()));
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
