// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/streams/LocalRequest.h"
#include "preferences/PageProgram.h"

#include <QJsonObject>
#include <QStringList>

namespace clipmule {

/// One browser's way in, as the window shows it: asks the program that serves the page for a code,
/// starts it where it does not serve, and follows what becomes of the code.
///
/// What the program says is checked as if it came from anywhere.
class PagePairing final {
public:
    enum class Stage {
        Idle,
        Starting,     ///< the code is on its way
        Shown,        ///< nobody has fetched the page yet
        Fetched,      ///< somebody has
        Paired,       ///< told() is the browser's name
        Refused,      ///< a browser came, and told() is why it could not be paired
        Expired,      ///< the code's time is over
        Replaced,     ///< somebody else has made a newer code
        Moved,        ///< the computer has another address now
        Ended,        ///< the program has ended
        NotInstalled, ///< there is no such program
        NoNetwork,    ///< the computer is in no network to serve the page on
        PortTaken,    ///< another program of the computer has the page's port
        Failed,       ///< told() is why there is no code; empty where nobody says
    };
    struct Code {
        QString link;
        /// The picture without the zone around it, a sign for each module; '1' is a dark one.
        QStringList rows;
        /// Until when it holds.
        Date end;
        /// The port that a firewall must let in.
        int port = 0;
    };

    /// A phone that was at hand would have fetched the page by then.
    static constexpr RunLoop::Seconds patienceForPhone{30};
    /// A program that was started is asked so often, and so many times.
    static constexpr RunLoop::Seconds knockInterval{0.2};
    static constexpr int mostKnocks = 25;
    /// The sides of pictures of this kind that there are, in modules.
    static constexpr qsizetype smallestPicture = 21;
    static constexpr qsizetype largestPicture = 177;
    /// UTF-16 units. The longest name of a computer, a port and a code are some 310.
    static constexpr qsizetype longestLink = 320;
    /// In seconds; a code that holds for longer is none of ours.
    static constexpr double longestLife = 3600;

    /// The program outlives it.
    PagePairing(PageProgram &program, QByteArray runtimeFolder);

    /// Called when anything below is different.
    std::function<void()> onChange;

    /// Asks for a fresh code, which ends the one before.
    void begin();
    /// Lets go of the code, which goes on holding.
    void end();
    [[nodiscard]] Stage stage() const { return _stage; }
    /// Of use from Shown on.
    [[nodiscard]] const Code &code() const { return _code; }
    [[nodiscard]] const QString &told() const { return _told; }
    /// The service of the browser that was paired.
    [[nodiscard]] const QString &service() const { return _service; }
    /// Nobody has fetched the page for so long that something is in the way.
    [[nodiscard]] bool isOverdue() const { return _isOverdue; }

private:
    enum class Means { None, Unit, Itself };

    void change(Stage stage, const QString &told = {});
    void knock();
    void knockLater();
    void nobodyAnswers();
    void giveUp(const QString &complaint);
    void startUnit();
    void startItself();
    void hear(const QByteArray &line);
    void hearAnswer(const QJsonObject &answer);
    void hearNews(const QJsonObject &news);
    void hungUp();

    PageProgram &_program;
    const QByteArray _runtimeFolder;
    Stage _stage = Stage::Idle;
    Code _code;
    QString _told;
    QString _service;
    bool _isOverdue = false;
    Means _means = Means::None;
    int _knocks = 0;
    std::unique_ptr<LocalRequest> _request;
    RunLoop::Timer _next;
    RunLoop::Timer _overdue;
};

} // namespace clipmule
