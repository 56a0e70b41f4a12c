#include "platform/concurrency/BackgroundJobs.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"
#include "platform/concurrency/MainQueue.h"
#include "platform/concurrency/SerialQueue.h"
#include "platform/concurrency/StopSignal.h"
#include "platform/concurrency/Task.h"
#include "tests/support/SimulatedClock.h"
#include "tests/support/StopTiming.h"

#include <future>
#include <poll.h>

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace tavik {

TEST(SerialQueue, RunsJobsInOrderAndFinishesThemBeforeItGoes) {
    std::vector<int> order;
    {
        SerialQueue queue("test.queue");
        for (int job = 0; job < 1000; ++job)
            queue.async([&order, job] { order.push_back(job); });
    }
    ASSERT_EQ(order.size(), 1000U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(SerialQueue, SyncWaitsForWhatCameBeforeAndPassesExceptionsOn) {
    SerialQueue queue("test.queue");
    int sum = 0;
    queue.async([&] { sum += 1; });
    queue.sync([&] { sum += 10; });
    EXPECT_EQ(sum, 11);
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("broken"); }), std::runtime_error);
    queue.sync([&] { sum += 100; });
    EXPECT_EQ(sum, 111);
}

TEST(MainQueue, RunsWhatWasPostedBeforeTheQuit) {
    MainQueue queue;
    std::vector<int> order;
    queue.async([&] {
        order.push_back(1);
        queue.async([&] { order.push_back(2); });
        queue.quit();
    });
    queue.runLoop();
    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(MainQueue, TellsAToolkitThatThereIsWork) {
    MainQueue queue;
    int wakes = 0;
    int runs = 0;
    queue.setWaker([&] { ++wakes; });
    queue.async([&] { ++runs; });
    queue.drain();
    EXPECT_EQ(wakes, 1);
    EXPECT_EQ(runs, 1);
}

TEST(Clock, SleepEndsSoonAfterAStopRequest) {
    EXPECT_LT(timeToCancel([](std::stop_token stop) { systemClock().sleepFor(10s, stop); }), 50ms);
}

TEST(Clock, SleepLastsItsTime) {
    const auto started = systemClock().now();
    systemClock().sleepFor(20ms, {});
    EXPECT_GE(systemClock().now() - started, 20ms);
}

TEST(SimulatedClock, RunsTheSchedulesOfTwoThreadsInOneOrder) {
    SimulatedClock clock(2);
    std::mutex mutex;
    std::vector<std::string> events;
    const auto sleeper = [&](std::string name, Clock::Duration step) {
        return [&, name, step](std::stop_token stop) {
            for (int round = 1; round <= 2; ++round) {
                clock.sleepFor(step, stop);
                const std::lock_guard lock(mutex);
                events.push_back(name + std::to_string(round));
            }
            clock.setSleepers(1); // the other one goes on alone
        };
    };
    const auto started = std::chrono::steady_clock::now();
    {
        std::jthread slow(sleeper("slow", 60s));
        std::jthread fast(sleeper("fast", 25s));
        slow.join();
        fast.join();
    }
    EXPECT_THAT(events, ElementsAre("fast1", "fast2", "slow1", "slow2"));
    EXPECT_EQ(clock.elapsed(), 120s);
    EXPECT_LT(std::chrono::steady_clock::now() - started, 10s);
}

TEST(StopSignal, WakesAPoll) {
    EXPECT_LT(timeToCancel([](std::stop_token stop) {
                  const StopSignal signal(stop);
                  pollfd polled{signal.descriptor(), POLLIN, 0};
                  ASSERT_EQ(poll(&polled, 1, 10'000), 1);
                  throwIfStopped(stop);
              }),
              50ms);
}

TEST(Task, GivesItsResultOrWhatItThrew) {
    Task<int> good([](std::stop_token) { return 7; });
    EXPECT_EQ(good.get(), 7);
    Task<int> cancelled([](std::stop_token stop) -> int {
        systemClock().sleepFor(10s, stop);
        return 0;
    });
    cancelled.cancel();
    EXPECT_THROW(cancelled.get(), Cancelled);
}

TEST(BackgroundJobs, EndWithTheirOwner) {
    std::atomic<int> ran = 0;
    std::promise<void> began;
    std::optional<BackgroundJobs> jobs("test");
    jobs->async([&](std::stop_token) { ++ran; });
    jobs->async([&](std::stop_token stop) {
        ++ran;
        began.set_value();
        systemClock().sleepFor(1h, stop);
    });
    jobs->async([&](std::stop_token) { ++ran; }); // waits, and is dropped
    began.get_future().wait();
    const auto ending = std::chrono::steady_clock::now();
    jobs.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - ending, 50ms);
    EXPECT_EQ(ran, 2);
}

} // namespace tavik
