// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PagePairing.h"

#include "platform/foundation/Callbacks.h"
#include "preferences/PanelTexts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>

#include <algorithm>
#include <utility>

namespace clipmule {

namespace {

// 32 bytes in base64url.
constexpr qsizetype codeLength = 43;

bool isPicture(const QStringList &rows) {
    return rows.size() >= PagePairing::smallestPicture &&
           rows.size() <= PagePairing::largestPicture &&
           std::all_of(rows.begin(), rows.end(), [&rows](const QString &row) {
               return row.size() == rows.size() &&
                      std::all_of(row.begin(), row.end(),
                                  [](QChar sign) { return sign == u'0' || sign == u'1'; });
           });
}

std::optional<PagePairing::Code> codeIn(const QJsonObject &answer) {
    const QString link = answer[QStringLiteral("link")].toString();
    const QUrl url(link, QUrl::StrictMode);
    const double seconds = answer[QStringLiteral("seconds")].toDouble();
    // Links leave out the usual one.
    const int port = url.port(url.scheme() == u"https" ? 443 : 80);
    PagePairing::Code code{link, answer[QStringLiteral("rows")].toVariant().toStringList(),
                           Date{Date::now().secondsSinceReference + seconds}, port};
    const bool isLink = link.size() <= PagePairing::longestLink && url.isValid() &&
                        (url.scheme() == u"http" || url.scheme() == u"https") &&
                        !url.host().isEmpty() && port > 0 && url.fragment().size() == codeLength;
    if (!isLink || !isPicture(code.rows) || seconds <= 0 || seconds > PagePairing::longestLife)
        return std::nullopt;
    return code;
}

} // namespace

PagePairing::PagePairing(PageProgram &program, QByteArray runtimeFolder)
    : _program(program)
    , _runtimeFolder(std::move(runtimeFolder)) {}

void PagePairing::begin() {
    end();
    _means = Means::None;
    _knocks = 0;
    change(Stage::Starting);
    knock();
}

void PagePairing::end() {
    _isOverdue = false;
    change(Stage::Idle);
}

// Only a code on show has anybody to listen to, and a time of its own.
void PagePairing::change(Stage stage, const QString &told) {
    if (stage != Stage::Shown && stage != Stage::Fetched) {
        _request.reset();
        _next.cancel();
    }
    if (stage != Stage::Shown)
        _overdue.cancel();
    if (stage == Stage::Fetched || stage == Stage::Paired)
        _isOverdue = false;
    _stage = stage;
    _told = told;
    callCopyOf(onChange);
}

void PagePairing::knock() {
    auto request = std::make_unique<LocalRequest>();
    request->onLine = [this](const QByteArray &line) { hear(line); };
    request->onEnd = [this] { hungUp(); };
    switch (request->start(_runtimeFolder, LocalRequest::pageControl,
                           QByteArrayLiteral("{\"do\":\"code\",\"watch\":true}"))) {
    case LocalFolder::Answer::Connected:
        _request = std::move(request);
        break;
    case LocalFolder::Answer::Nobody:
        nobodyAnswers();
        break;
    case LocalFolder::Answer::Busy:
        if (_knocks < mostKnocks)
            knockLater();
        else
            change(Stage::Failed);
        break;
    case LocalFolder::Answer::Refused:
        change(Stage::Failed);
        break;
    }
}

void PagePairing::knockLater() {
    _next = RunLoop::current().performAfter(knockInterval, [this] {
        ++_knocks;
        knock();
    });
}

void PagePairing::nobodyAnswers() {
    if (_means == Means::None)
        startUnit();
    else if (_knocks < mostKnocks && (_means == Means::Unit || !_program.itselfHasEnded()))
        knockLater();
    else if (_means == Means::Unit)
        // Why it does not come up is the manager's secret; the program itself says it.
        startItself();
    else
        giveUp(_program.complaint());
}

// In the words of the program, where there are none of ours.
void PagePairing::giveUp(const QString &complaint) {
    const bool isTaken = complaint.endsWith(QLatin1String(LocalRequest::portIsTaken));
    change(isTaken ? Stage::PortTaken : Stage::Failed, complaint);
}

void PagePairing::startUnit() {
    if (!_program.isInstalled()) {
        change(Stage::NotInstalled);
        return;
    }
    _means = Means::Unit;
    _program.startUnit([this](bool isStarting) {
        if (_stage != Stage::Starting || _means != Means::Unit)
            return;
        if (isStarting)
            nobodyAnswers();
        else
            startItself();
    });
}

void PagePairing::startItself() {
    _means = Means::Itself;
    _knocks = 0;
    if (_program.startItself())
        nobodyAnswers();
    else
        change(Stage::Failed);
}

void PagePairing::hear(const QByteArray &line) {
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    if (_stage == Stage::Starting)
        hearAnswer(object);
    else
        hearNews(object);
}

void PagePairing::hearAnswer(const QJsonObject &answer) {
    if (answer[QStringLiteral("why")] == QStringLiteral("network")) {
        change(Stage::NoNetwork);
        return;
    }
    const auto code = codeIn(answer);
    if (!code) {
        change(Stage::Failed, ShownText::onOneLine(answer[QStringLiteral("error")].toString()));
        return;
    }
    _code = *code;
    // Whether the program tells or not.
    _next = RunLoop::current().performAfter(
        RunLoop::Seconds(answer[QStringLiteral("seconds")].toDouble()),
        [this] { change(Stage::Expired); });
    _overdue = RunLoop::current().performAfter(patienceForPhone, [this] {
        _isOverdue = true;
        callCopyOf(onChange);
    });
    change(Stage::Shown);
}

void PagePairing::hearNews(const QJsonObject &news) {
    const QString what = news[QStringLiteral("code")].toString();
    const auto text = [&news](const QString &key) {
        return ShownText::onOneLine(news[key].toString());
    };
    if (what == u"fetched" && _stage == Stage::Shown) {
        change(Stage::Fetched);
    } else if (what == u"used") {
        _service = news[QStringLiteral("service")].toString();
        change(Stage::Paired, text(QStringLiteral("name")));
    } else if (what == u"refused") {
        change(Stage::Refused, text(QStringLiteral("error")));
    } else if (what == u"expired") {
        change(Stage::Expired);
    } else if (what == u"replaced") {
        change(Stage::Replaced);
    } else if (what == u"moved") {
        change(Stage::Moved);
    } else {
        // Nothing that it could mean; who knows what else it says.
        change(Stage::Ended);
    }
}

void PagePairing::hungUp() {
    change(_stage == Stage::Starting ? Stage::Failed : Stage::Ended);
}

} // namespace clipmule
