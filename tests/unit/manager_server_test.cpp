// The manager and the simulated object server over TCP: refreshes, events, outages, and all threads at once.
#include "ManagerBench.h"
#include "listener.h"
#include "simPort.h"
#include "tavd/Tavd.h"
#include "tavobj.pb.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr auto kLimit = 30s; // far more than anything here takes
constexpr uint32_t kSet = 1;
constexpr uint32_t kClear = 2;

// A manager lives for the whole process, and its server with it.
class ManagerAndServer : public testing::Test {
protected:
    void SetUp() override
    {
        server.setPorts(
            {simPort(false, "IN1", 1), simPort(false, "IN2", 2), simPort(true, "OUT1", 9), simPort(true, "OUT2", 10)});
        manager.addConnection(composite(tavTrigger::OR, {leaf("IN1")}), action("OUT1"));
        manager.addConnection(composite(tavTrigger::AND, {leaf("IN1"), leaf("IN2", true)}),
                              action("OUT2", tavTrigger::INVERSE));
    }
    void start()
    {
        ASSERT_TRUE(server.start("127.0.0.1", 0));
        manager.connectTo("127.0.0.1", server.port());
    }
    void startAndEvaluate()
    {
        start();
        manager.collectLabels();
        refresh();
        manager.check_trigger_values();
        ASSERT_TRUE(outputsStand(kClear, kSet));
    }
    // Refreshes until the server has answered; what came while the connection was being made may fail.
    void refresh()
    {
        const auto answered = [this] {
            manager.update_lists();
            return manager.getInputs("IN1", 0) != nullptr;
        };
        ASSERT_TRUE(eventually(answered));
    }
    bool outputsStand(uint32_t first, uint32_t second)
    {
        return server.waitForOutput("OUT1", first, kLimit) && server.waitForOutput("OUT2", second, kLimit);
    }

    sim::Tavd& server = forEver<sim::Tavd>();
    ManagerBench& manager = ManagerBench::forEver();
};

TEST_F(ManagerAndServer, PollsSeldomInAStormOfReconnections)
{
    constexpr size_t kGetsOfAPoll = 2;
    start();
    std::thread([&running = manager] { running.run(); }).detach();
    ASSERT_TRUE(outputsStand(kClear, kSet));
    constexpr size_t kReconnections = 10;
    const auto begun = std::chrono::steady_clock::now();
    for (size_t i = 1; i <= kReconnections; ++i) {
        server.sendRaw("\xff\xff\xff\xff"); // no message: the client drops the connection
        ASSERT_TRUE(server.waitUntil([&] { return server.connections() == i + 1; }, kLimit));
        const bool set = i % 2 != 0; // obeyed on the new connection, which a poll too many could use as well
        server.setInput("IN1", set ? kSet : kClear);
        ASSERT_TRUE(outputsStand(set ? kSet : kClear, set ? kClear : kSet));
    }
    ASSERT_TRUE(server.waitUntil([this] { return server.gets() > kGetsOfAPoll; }, kLimit)) << "told of a reconnection";
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begun);
    EXPECT_LE(server.gets(), kGetsOfAPoll * (3 + static_cast<size_t>(seconds.count())));
}

TEST_F(ManagerAndServer, OutageEmptiesTheListsAndDrivesNothing)
{
    startAndEvaluate();
    server.stop();
    const size_t writes = server.writes().size();
    manager.update_lists();
    EXPECT_EQ(manager.getInputs("IN1", 0), nullptr) << "no answer leaves the lists empty";
    EXPECT_EQ(manager.mOutputPorts->size(), 0);
    manager.check_trigger_values();
    ASSERT_TRUE(server.start("127.0.0.1", server.port()));
    refresh();
    manager.check_trigger_values();
    refresh(); // answered after everything that was written before
    EXPECT_EQ(server.writes().size(), writes);
}

// A server that answers with something else costs what it concerns, and the truth is taken again.
TEST_F(ManagerAndServer, StrangeAnswersAndMessagesDriveNothing)
{
    startAndEvaluate();
    const size_t writes = server.writes().size();

    tavobj::Message foreignFirst;
    foreignFirst.add_objects()->set_kind(cObject::OBJ_ACCESS);
    foreignFirst.add_objects()->set_kind(cObject::OBJ_PORT);
    foreignFirst.mutable_objects(1)->mutable_port()->set_label("IN1");
    server.answerGetsWith(foreignFirst.SerializeAsString());
    manager.update_lists();
    manager.check_trigger_values();
    EXPECT_EQ(manager.getInputs("IN1", 0), nullptr) << "what follows a foreign object is not used";

    tavobj::Message unknown;
    unknown.set_type(2);
    server.sendRaw(sim::Tavd::frame(unknown.SerializeAsString()));
    server.answerGetsWith("");
    refresh();
    EXPECT_EQ(server.writes().size(), writes);
    EXPECT_EQ(server.connections(), 1u) << "each of them was a message, and the connection stays";
    server.setInputs({{"IN1", kSet}});
    EXPECT_TRUE(outputsStand(kSet, kClear));
}

#ifdef NDEBUG
constexpr int kFlood = 200000; // events
#else
constexpr int kFlood = 20000; // sanitizers are slow
#endif

// Events, refreshes and commands at once; every one of them walks the same lists. What the server said last counts.
TEST_F(ManagerAndServer, AFloodOfEventsBesideRefreshesAndCommandsLeavesTheRightStates)
{
    startAndEvaluate();
    std::atomic<bool> flooding{true};
    std::thread commands([&] {
        tavTrigger* actions[] = {action("OUT1"), action("OUT2")};
        for (int i = 0; flooding; ++i) {
            manager.setActionState(i % 2 == 0 ? GSMIOmanager::SET : GSMIOmanager::RESET, actions[i % 3 == 0 ? 0 : 1],
                                   nullptr, nullptr);
            std::this_thread::sleep_for(1ms);
        }
        for (tavTrigger* each : actions)
            delete each;
    });
    std::thread flood([&] {
        std::vector<std::pair<std::string, uint32_t>> changes;
        for (int i = 0; i < 50; ++i)
            changes.emplace_back(i % 3 == 0 ? "IN2" : "IN1", i % 2 == 0 ? kSet : kClear);
        for (int sent = 0; sent < kFlood; sent += static_cast<int>(changes.size()))
            server.setInputs(changes);
        flooding = false;
    });
    while (flooding) {
        manager.update_lists();
        manager.check_trigger_values();
        std::this_thread::sleep_for(5ms);
    }
    flood.join();
    commands.join();
    refresh(); // a refresh that a slow machine's server did not answer in time has emptied the lists
    server.setInputs({{"IN1", kSet}, {"IN2", kClear}});
    manager.check_trigger_values(); // and an output that a command has moved is put right where no event concerns it
    EXPECT_TRUE(outputsStand(kSet, kClear));
    server.setInputs({{"IN1", kClear}});
    EXPECT_TRUE(outputsStand(kClear, kSet));
}

} // namespace
