#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <optional>

#include <gtest/gtest.h>

#include "PlatformQt/QtMainActor.h"
#include "Support/MainActorContract.h"

namespace nimbe {
namespace {

/// An application with its event loop.
class QtLoop {
public:
    QtLoop() : application(argumentCount, arguments) { main.emplace(); }

    [[nodiscard]] QtMainActor& actor() { return *main; }
    void run() {
        QTimer watchdog;
        QObject::connect(&watchdog, &QTimer::timeout, [] {
            ADD_FAILURE() << "nothing ended the loop";
            QCoreApplication::quit();
        });
        watchdog.start(20'000);
        QCoreApplication::exec();
    }
    void stop() { QCoreApplication::quit(); }
    void endActor() { main.reset(); }

private:
    int argumentCount = 1;
    char name[6] = "tests";
    char* arguments[2] = {name, nullptr};
    QCoreApplication application;
    std::optional<QtMainActor> main;
};

/// Posts when it goes.
struct PostsAtEnd {
    QtMainActor& actor;
    bool& wentRun;
    ~PostsAtEnd() {
        actor.post([went = &wentRun] { *went = true; });
    }
};

} // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Qt, MainActorContract, QtLoop);

TEST(QtMainActor, jobsThatBringForthMoreLeaveTheToolkitItsTurn) {
    QtLoop loop;
    int turns = 0;
    contract::repost(loop.actor(), turns);
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        if (++ticks == 3) loop.stop();
    });
    timer.start(1);
    loop.run();
    EXPECT_EQ(ticks, 3);
    EXPECT_GT(turns, 2);
}

TEST(QtMainActor, jobsAndTimersRunInNestedLoops) {
    QtLoop loop;
    std::string order;
    Token timer;
    loop.actor().post([&] {
        QEventLoop nested;
        loop.actor().post([&] { order += 'a'; });
        timer = loop.actor().schedule(0.002, [&] {
            order += 'b';
            nested.quit();
        });
        nested.exec();
        order += 'c';
        loop.stop();
    });
    loop.run();
    EXPECT_EQ(order, "abc");
}

TEST(QtMainActor, sleepsWhileNothingIsScheduled) {
    QtLoop loop;
    Token dropped = loop.actor().schedule(0.01, [] {});
    Token fired = loop.actor().schedule(0.001, [] {});
    const Token far = loop.actor().schedule(0.06, [&] { loop.stop(); });
    dropped.reset();
    int wakeUps = 0;
    QObject::connect(
        QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, [&] { ++wakeUps; });
    loop.run();
    // One for each timer that fires and the event it posts, a few to begin and end with.
    EXPECT_LT(wakeUps, 12);
}

TEST(QtMainActor, dropsAtItsEndWhatIsStillPosted) {
    QtLoop loop;
    bool ran = false;
    auto owned = std::make_shared<int>(1);
    auto last = std::make_shared<PostsAtEnd>(PostsAtEnd{loop.actor(), ran});
    loop.actor().post([&ran, owned] { ran = true; });
    loop.actor().post([last = std::move(last)] {});
    Token timer = loop.actor().schedule(0, [&ran, owned] { ran = true; });
    loop.endActor();
    QCoreApplication::processEvents();
    EXPECT_FALSE(ran);
    timer.reset(); // outlives the actor
    EXPECT_EQ(owned.use_count(), 1);
}

TEST(QtMainActor, mayEndWithinAJob) {
    QtLoop loop;
    bool ran = false;
    loop.actor().post([&] {
        loop.endActor();
        loop.stop();
    });
    loop.actor().post([&] { ran = true; });
    loop.run();
    EXPECT_FALSE(ran);
}

} // namespace nimbe
