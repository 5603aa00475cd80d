// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandDataControl.h"

#include "platform/foundation/Log.h"
#include "platform/wayland/WaylandConnection.h"

#include <QSet>

#include <cerrno>
#include <cstring>
#include <utility>

#include <ext-data-control-v1-client-protocol.h>
#include <fcntl.h>
#include <unistd.h>
#include <wlr-data-control-unstable-v1-client-protocol.h>

namespace clipmule {

namespace {

// A type of ours, with a number behind it, tells our own offers from others', whose arrival is
// otherwise all the same.
const QString ownMark = QStringLiteral("application/x-clipmule-own-selection-%1");

// The names of one of the two forms.
#define CLIPMULE_DATA_CONTROL(Form, prefix, said)                                                  \
    struct Form {                                                                                  \
        using Manager = prefix##_manager_v1;                                                       \
        using Device = prefix##_device_v1;                                                         \
        using Source = prefix##_source_v1;                                                         \
        using Offer = prefix##_offer_v1;                                                           \
        using DeviceListener = prefix##_device_v1_listener;                                        \
        using SourceListener = prefix##_source_v1_listener;                                        \
        using OfferListener = prefix##_offer_v1_listener;                                          \
        static constexpr auto name = said;                                                         \
        static constexpr const wl_interface &manager = prefix##_manager_v1_interface;              \
        static constexpr auto device = prefix##_manager_v1_get_data_device;                        \
        static constexpr auto source = prefix##_manager_v1_create_data_source;                     \
        static constexpr auto setSelection = prefix##_device_v1_set_selection;                     \
        static constexpr auto receive = prefix##_offer_v1_receive;                                 \
        static constexpr auto offer = prefix##_source_v1_offer;                                    \
        static constexpr auto listen = prefix##_device_v1_add_listener;                            \
        static constexpr auto listenToSource = prefix##_source_v1_add_listener;                    \
        static constexpr auto listenToOffer = prefix##_offer_v1_add_listener;                      \
        static constexpr auto destroyManager = prefix##_manager_v1_destroy;                        \
        static constexpr auto destroyDevice = prefix##_device_v1_destroy;                          \
        static constexpr auto destroySource = prefix##_source_v1_destroy;                          \
        static constexpr auto destroyOffer = prefix##_offer_v1_destroy;                            \
    }

CLIPMULE_DATA_CONTROL(Agreed, ext_data_control, "ext-data-control");
CLIPMULE_DATA_CONTROL(Wlroots, zwlr_data_control, "wlr-data-control");

#undef CLIPMULE_DATA_CONTROL

} // namespace

template <typename Form>
class FormOfDataControl final : public WaylandDataControl, private WaylandObserver {
public:
    explicit FormOfDataControl(std::shared_ptr<WaylandConnection> connection)
        : _connection(std::move(connection))
        , _manager(_connection->bind<typename Form::Manager>(Form::manager)) {
        _connection->addObserver(this);
        followSeat();
    }
    ~FormOfDataControl() override {
        _connection->removeObserver(this);
        dropSource();
        leaveSeat();
        for (typename Form::Device *const device : std::as_const(_left))
            Form::destroyDevice(device);
        if (_manager)
            Form::destroyManager(_manager);
        _connection->flush();
    }
    FormOfDataControl(const FormOfDataControl &) = delete;
    FormOfDataControl &operator=(const FormOfDataControl &) = delete;

    [[nodiscard]] QString name() const override { return QString::fromLatin1(Form::name); }

    void receive(const QString &type, const Opened &opened) override { opened(pipeOf(type)); }

    [[nodiscard]] bool own(const QStringList &types) override {
        if (!_device || _connection->isLost())
            return false;
        typename Form::Source *const source = Form::source(_manager);
        Form::listenToSource(source, &sourceListener, this);
        for (const QString &type : types)
            Form::offer(source, type.toUtf8().constData());
        _mark = ownMark.arg(++_owned);
        Form::offer(source, _mark.toUtf8().constData());
        Form::setSelection(_device, source);
        dropSource();
        _source = source;
        _connection->countClipboardChange();
        _isTaking = true;
        _connection->whenServed(this, [this] { _isTaking = false; });
        return true;
    }

private:
    struct Offer {
        typename Form::Offer *proxy;
        QStringList types;
        QSet<QString> seen;
        bool isOurs = false;
        explicit Offer(typename Form::Offer *made)
            : proxy(made) {}
        ~Offer() { Form::destroyOffer(proxy); }
        Offer(const Offer &) = delete;
        Offer &operator=(const Offer &) = delete;
    };

    static FormOfDataControl &of(void *memory) { return *static_cast<FormOfDataControl *>(memory); }

    void followSeat() {
        wl_seat *const seat = _connection->seat();
        if (!_manager || !seat)
            return;
        _seat = seat;
        _device = Form::device(_manager, seat);
        Form::listen(_device, &deviceListener, this);
        _moment = Moment::AtTheStart;
        // Who may not have it is thrown out by then.
        _connection->whenServed(this, [this] {
            _moment = Moment::Change;
            if (_device && onAccess)
                onAccess(true);
        });
    }
    [[nodiscard]] FileHandle pipeOf(const QString &type) {
        int ends[2];
        if (!_selection || _connection->isLost())
            return {};
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            qCWarning(logWayland, "no pipe to read the clipboard through: %s",
                      std::strerror(errno));
            return {};
        }
        FileHandle reading(ends[0]);
        const FileHandle writing(ends[1]);
        // Ours alone: who writes may expect that writing waits.
        ::fcntl(reading.descriptor(), F_SETFL, O_NONBLOCK);
        Form::receive(_selection->proxy, type.toUtf8().constData(), writing.descriptor());
        _connection->flush();
        return reading;
    }
    void leaveSeat() {
        _selection.reset();
        _primary.reset();
        _announced.reset();
        _seat = nullptr;
        if (_device)
            _left.append(std::exchange(_device, nullptr));
    }
    void waylandGlobalsChanged() override {
        if (_connection->seat() == _seat)
            return;
        loseSeat();
        followSeat();
    }
    // What we owned went with the seat.
    void loseSeat() {
        const bool hadSource = _source;
        dropSource();
        leaveSeat();
        if (hadSource && onCancelled)
            onCancelled();
        if (onSelection)
            onSelection(std::nullopt, Moment::Change);
        if (onAccess)
            onAccess(false);
    }
    void dropSource() {
        if (_source)
            Form::destroySource(std::exchange(_source, nullptr));
    }

    // The offer is announced, then its types are, then what it is offered as.
    static void announce(void *memory, typename Form::Device *, typename Form::Offer *offer) {
        FormOfDataControl &self = of(memory);
        self._announced = std::make_unique<Offer>(offer);
        Form::listenToOffer(offer, &offerListener, &self);
    }
    static void addType(void *memory, typename Form::Offer *offer, const char *name) {
        FormOfDataControl &self = of(memory);
        if (!self._announced || self._announced->proxy != offer)
            return;
        Offer &announced = *self._announced;
        const QString type = QString::fromUtf8(name);
        announced.isOurs = announced.isOurs || type == self._mark;
        self.keep(type, announced.types, announced.seen);
    }
    // Takes what was announced last, which is the only thing that can be meant.
    [[nodiscard]] std::unique_ptr<Offer> take(typename Form::Offer *offer) {
        if (offer && _announced && _announced->proxy == offer)
            return std::move(_announced);
        return nullptr;
    }
    static void select(void *memory, typename Form::Device *device, typename Form::Offer *offer) {
        FormOfDataControl &self = of(memory);
        std::unique_ptr<Offer> selected = self.take(offer);
        if (device != self._device)
            return;
        self._selection = std::move(selected);
        if (self._selection && self._selection->isOurs && self._source) {
            self._isTaking = false;
            return;
        }
        // What was copied before we took the clipboard is out of date.
        if (self._isTaking)
            return;
        self._connection->countClipboardChange();
        if (!self.onSelection)
            return;
        if (self._selection)
            self.onSelection(self._selection->types, self._moment);
        else
            self.onSelection(std::nullopt, self._moment);
    }
    // The selection that a middle click pastes is nobody's business; its offer is only held until
    // the next.
    static void selectPrimary(void *memory, typename Form::Device *, typename Form::Offer *offer) {
        of(memory)._primary = of(memory).take(offer);
    }
    static void finish(void *memory, typename Form::Device *device) {
        if (device != of(memory)._device)
            return;
        qCInfo(logWayland, "the seat's clipboard is not ours to see any more");
        of(memory).loseSeat();
    }
    static void send(void *memory, typename Form::Source *source, const char *type, int target) {
        FormOfDataControl &self = of(memory);
        FileHandle handle(target);
        ::fcntl(target, F_SETFL, ::fcntl(target, F_GETFL) | O_NONBLOCK);
        ::fcntl(target, F_SETFD, FD_CLOEXEC);
        if (source == self._source && self.onSend)
            self.onSend(QString::fromUtf8(type), std::move(handle), {});
    }
    static void cancel(void *memory, typename Form::Source *source) {
        FormOfDataControl &self = of(memory);
        if (source != self._source)
            return;
        self.dropSource();
        if (self.onCancelled)
            self.onCancelled();
    }

    static constexpr
        typename Form::DeviceListener deviceListener{announce, select, finish, selectPrimary};
    static constexpr typename Form::OfferListener offerListener{addType};
    static constexpr typename Form::SourceListener sourceListener{send, cancel};

    std::shared_ptr<WaylandConnection> _connection;
    typename Form::Manager *_manager;
    wl_seat *_seat = nullptr; // that the device belongs to
    typename Form::Device *_device = nullptr;
    // Devices of seats that have gone. An offer on its way to a device that was destroyed would
    // be the end of the connection.
    QList<typename Form::Device *> _left;
    typename Form::Source *_source = nullptr; // what we own, while it is the clipboard
    quint64 _owned = 0;                       // how often we did
    QString _mark;                            // of what we own or owned last
    bool _isTaking = false; // the compositor has not said yet that what we own is the clipboard
    Moment _moment = Moment::AtTheStart;
    std::unique_ptr<Offer> _announced;
    std::unique_ptr<Offer> _selection;
    std::unique_ptr<Offer> _primary;
};

void WaylandDataControl::keep(const QString &type, QStringList &types, QSet<QString> &seen) const {
    const bool isFull = types.size() >= mostTypes;
    if ((isFull && !(isWanted && isWanted(type))) || seen.contains(type))
        return;
    seen.insert(type);
    // Whoever looks at as many only finds it in front.
    types.insert(isFull ? 0 : types.size(), type);
}

bool WaylandDataControl::isOffered(const std::shared_ptr<WaylandConnection> &connection) {
    return connection && connection->seat() &&
           (connection->offers(Agreed::manager.name) || connection->offers(Wlroots::manager.name));
}

bool WaylandDataControl::isOffered(const QList<QByteArray> &interfaces) {
    return interfaces.contains(Agreed::manager.name) || interfaces.contains(Wlroots::manager.name);
}

std::unique_ptr<WaylandDataControl>
WaylandDataControl::make(const std::shared_ptr<WaylandConnection> &connection) {
    if (!isOffered(connection))
        return nullptr;
    if (connection->offers(Agreed::manager.name))
        return std::make_unique<FormOfDataControl<Agreed>>(connection);
    return std::make_unique<FormOfDataControl<Wlroots>>(connection);
}

} // namespace clipmule
