// The object client against the simulated server: answers, events, writes, outages, and servers that lie.
#include "cObjectClient.h"
#include "cObjectList.h"
#include "cObjectListener.h"
#include "cWlog.h"
#include "noThreads.h"
#include "scratchFolder.h"
#include "simPort.h"
#include "tavd/Tavd.h"
#include "tavobj.pb.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

namespace {

std::atomic<bool> noResolver{false};

constexpr auto kLimit = 30s; // far more than anything here takes

struct Listener : cObjectListener {
    void handleObjectAction(cObjectList* message) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        types.push_back(message->getMsgType());
        for (cObject* object = message->first(); object != nullptr; object = message->next()) {
            if (auto* event = dynamic_cast<cObjectEvent*>(object))
                statuses.push_back(event->getStatus());
        }
        changed.notify_all();
    }
    void reconnected()
    {
        std::lock_guard<std::mutex> lock(mutex);
        ++returns;
        changed.notify_all();
    }
    template <typename Condition> bool waitUntil(Condition holds)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, kLimit, [&] { return holds(); });
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<uint8_t> types;
    std::vector<cObject::eObjectStatus> statuses;
    int returns = 0; // of the server
};

class ObjectClient : public testing::Test {
protected:
    void SetUp() override
    {
        server.setPorts({simPort(false, "IN1", 1), simPort(false, "IN2", 2), simPort(true, "OUT1", 9),
                         simPort(true, "OUT2", 10), simPort(true, "OUT3", 11)});
        ASSERT_TRUE(server.start("127.0.0.1", 0));
    }
    void connect()
    {
        client = std::make_unique<cObjectClient>();
        client->addListener(&listener);
        client->onReconnection([this] { listener.reconnected(); });
        ASSERT_TRUE(client->start("127.0.0.1", server.port()));
        ASSERT_EQ(ask(cObjectPort(), "IN1").size(), 1u) << "the first get waits for the connection";
    }
    // Asks for one label; the answer's objects are returned, owned.
    std::vector<std::unique_ptr<cObject>> ask(cObjectPort&& wanted, const char* label, bool* answered = nullptr)
    {
        wanted.setPortLabel(label);
        cObjectList request;
        request.add(&wanted);
        const std::unique_ptr<cObjectList> answer(client->get(&request));
        std::vector<std::unique_ptr<cObject>> objects;
        if (answered != nullptr)
            *answered = answer != nullptr;
        for (cObject* object = answer ? answer->first() : nullptr; object != nullptr; object = answer->next())
            objects.emplace_back(object);
        return objects;
    }
    bool comesBack(int times)
    {
        return listener.waitUntil([this, times] { return listener.returns >= times; });
    }
    // The output as the server has it after everything that was sent before.
    cObject::eObjectIOState outputState(const char* label)
    {
        const auto found = ask(cObjectDOutput(), label);
        return found.empty() ? cObject::OBJ_IO_STATE_UNKNOWN
                             : dynamic_cast<cObjectDOutput&>(*found[0]).getOutputState();
    }

    sim::Tavd server;
    Listener listener;
    std::unique_ptr<cObjectClient> client;
};

TEST_F(ObjectClient, GetsThePortsThatTheServerKnowsByKindAndLabel)
{
    connect();
    server.setInput("IN2", 3);
    auto input = ask(cObjectPort(), "IN2");
    ASSERT_EQ(input.size(), 1u);
    auto* found = dynamic_cast<cObjectPort*>(input[0].get());
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->getPortStatus(), cObject::OBJ_STATUS_ALARM_WARN);
    EXPECT_EQ(found->getPortId(), 2);
    EXPECT_EQ(found->getPortType(), 2);
    EXPECT_EQ(found->getDeviceSerial(), 0x10u);
    EXPECT_TRUE(ask(cObjectPort(), "in2").empty());
    EXPECT_TRUE(ask(cObjectPort(), "OUT1").empty()) << "an output is not an input";
    auto output = ask(cObjectDOutput(), "OUT1");
    ASSERT_EQ(output.size(), 1u);
    EXPECT_NE(dynamic_cast<cObjectDOutput*>(output[0].get()), nullptr);
}

TEST_F(ObjectClient, DeliversEventsInOrderAndNoAnswers)
{
    connect();
    for (uint32_t i = 0; i < 300; ++i)
        server.setInput("IN1", 1 + i % 3);
    ask(cObjectPort(), "IN1");
    ASSERT_TRUE(listener.waitUntil([this] { return listener.statuses.size() == 300; }));
    for (uint32_t i = 0; i < 300; ++i)
        ASSERT_EQ(listener.statuses[i], 1 + i % 3);
    for (uint8_t type : listener.types)
        EXPECT_EQ(type, 3);
}

// The socket fills and takes part of a frame; what waits behind it is the newest state of each output.
TEST_F(ObjectClient, WritesToAServerThatDoesNotReadWaitForItAndTheirCallerDoesNot)
{
    connect();
    server.hang(true);
    cObjectDOutput outputs[2];
    outputs[0].setPortLabel("OUT1");
    outputs[1].setPortLabel("OUT2");
    constexpr int kWrites = 150000; // of some 40 bytes: more than the socket's buffers hold
    for (int i = 0; i <= kWrites; ++i) {
        for (cObjectDOutput& output : outputs) {
            output.setOutputState(i % 2 != 0 ? cObject::OBJ_IO_STATE_CLEAR : cObject::OBJ_IO_STATE_SET);
            ASSERT_EQ(client->set(&output), 0);
        }
    }
    cObjectDOutput last;
    last.setPortLabel("OUT3");
    last.setPortToggled(cObjectPort::PORT_TOGGLED_IODRIVER);
    last.setOutputState(cObject::OBJ_IO_STATE_SET);
    ASSERT_EQ(client->set(&last), 0);
    server.hang(false);
    ASSERT_TRUE(server.waitForOutput("OUT3", cObject::OBJ_IO_STATE_SET, 8 * kLimit)) << "after ten megabytes";
    for (const char* label : {"OUT1", "OUT2"})
        EXPECT_EQ(server.output(label)->state, static_cast<uint32_t>(cObject::OBJ_IO_STATE_SET)) << label;
    EXPECT_EQ(server.writes().back().toggled, 4u);
    EXPECT_LT(server.writes().size(), size_t{2} * kWrites) << "older states of an output that waited are not sent";
    EXPECT_EQ(server.connections(), 1u) << "every frame was whole";
}

// The io thread closes and opens the socket while others send on it.
TEST_F(ObjectClient, WritersDuringReconnectionsDisturbNothing)
{
    connect();
    std::atomic<bool> done{false};
    std::vector<std::thread> writers;
    for (int i = 0; i < 2; ++i)
        writers.emplace_back([this, &done] {
            cObjectDOutput output;
            output.setPortLabel("OUT2");
            while (!done) {
                client->set(&output);
                std::this_thread::yield();
            }
        });
    for (int times = 1; times <= 5; ++times) {
        server.stop();
        ASSERT_TRUE(server.start("127.0.0.1", server.port()));
        ASSERT_TRUE(comesBack(times));
    }
    done = true;
    for (std::thread& writer : writers)
        writer.join();
    bool answered = false;
    ASSERT_TRUE(server.waitUntil(
        [&] {
            ask(cObjectPort(), "IN1", &answered);
            return answered;
        },
        kLimit));
    cObjectDOutput output;
    output.setPortLabel("OUT1");
    output.setOutputState(cObject::OBJ_IO_STATE_SET);
    EXPECT_EQ(client->set(&output), 0);
    EXPECT_EQ(outputState("OUT1"), cObject::OBJ_IO_STATE_SET);
}

TEST_F(ObjectClient, StartsOnceAndSaysWhenItHasNoThread)
{
    connect();
    EXPECT_FALSE(client->start("127.0.0.1", server.port()));
    client = std::make_unique<cObjectClient>();
    {
        const NoThreads refused;
        EXPECT_FALSE(client->start("127.0.0.1", server.port()));
    }
    bool answered = true;
    const auto begun = std::chrono::steady_clock::now();
    ask(cObjectPort(), "IN1", &answered);
    EXPECT_FALSE(answered);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 4s) << "less than a get's limit";
}

TEST_F(ObjectClient, AResolverThatCannotStartIsTriedAnew)
{
    client = std::make_unique<cObjectClient>();
    noResolver = true;
    ASSERT_TRUE(client->start("localhost", server.port()));
    bool answered = true;
    ask(cObjectPort(), "IN1", &answered);
    EXPECT_FALSE(answered);
    noResolver = false;
    EXPECT_TRUE(server.waitUntil([&] { return server.clients() == 1; }, kLimit));
}

TEST_F(ObjectClient, ARefusedFirstAttemptEndsTheFirstGet)
{
    const uint16_t port = server.port();
    server.stop();
    client = std::make_unique<cObjectClient>();
    client->onReconnection([this] { listener.reconnected(); });
    ASSERT_TRUE(client->start("127.0.0.1", port));
    const auto begun = std::chrono::steady_clock::now();
    bool answered = true;
    ask(cObjectPort(), "IN1", &answered);
    EXPECT_FALSE(answered);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 4s) << "less than a get's limit";
    ASSERT_TRUE(server.start("127.0.0.1", port));
    EXPECT_TRUE(comesBack(1)) << "who has asked in vain is told";
}

TEST_F(ObjectClient, WithoutAServerNothingBlocksAndItsReturnIsNoticed)
{
    connect();
    server.stop();
    bool answered = true;
    ASSERT_TRUE(server.waitUntil(
        [&] {
            ask(cObjectPort(), "IN1", &answered);
            return !answered;
        },
        kLimit));
    cObjectDOutput output;
    output.setPortLabel("OUT1");
    EXPECT_EQ(client->set(&output), -1);

    ASSERT_TRUE(server.start("127.0.0.1", server.port()));
    ASSERT_TRUE(comesBack(1));
    EXPECT_EQ(ask(cObjectPort(), "IN1").size(), 1u);
}

TEST_F(ObjectClient, AServerThatHangsIsGivenUpAndTriedAnew)
{
    connect();
    server.hang(true);
    bool answered = true;
    ask(cObjectPort(), "IN1", &answered);
    EXPECT_FALSE(answered);
    server.hang(false);
    ASSERT_TRUE(comesBack(1)) << "the silent connection is replaced, so that the server's return is told";
    EXPECT_EQ(ask(cObjectPort(), "IN1").size(), 1u);
}

TEST_F(ObjectClient, AGetEndsWithItsConnection)
{
    connect();
    tavobj::Message broken;
    broken.set_type(300);
    server.answerGetsWith(broken.SerializeAsString());
    const auto begun = std::chrono::steady_clock::now();
    bool answered = true;
    ask(cObjectPort(), "IN1", &answered);
    EXPECT_FALSE(answered);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 4s) << "less than a get's limit";
}

TEST_F(ObjectClient, AListenerMayAskAndWriteWhileItRuns)
{
    struct Asking : cObjectListener {
        void handleObjectAction(cObjectList*) override
        {
            cObjectPort wanted;
            wanted.setPortLabel("IN1");
            cObjectList request;
            request.add(&wanted);
            const std::unique_ptr<cObjectList> answer(client->get(&request));
            if (answer) {
                answer->deleteObjects();
                answered = true;
            }
        }
        cObjectClient* client = nullptr;
        std::atomic<bool> answered{false};
    } asking;
    client = std::make_unique<cObjectClient>();
    asking.client = client.get();
    client->addListener(&asking);
    ASSERT_TRUE(client->start("127.0.0.1", server.port()));
    ASSERT_EQ(ask(cObjectPort(), "IN1").size(), 1u);
    server.setInput("IN1", 1);
    EXPECT_TRUE(server.waitUntil([&] { return asking.answered.load(); }, kLimit));
    client.reset(); // its threads end before the listener
}

// Each of these makes the server send something that is no message; the client has to drop the connection and come
// back.
TEST_F(ObjectClient, BrokenFramesEndTheConnectionAndServiceResumes)
{
    connect();
    std::string random(5000, '\0');
    std::mt19937 generator(1);
    for (char& byte : random)
        byte = static_cast<char>(generator());
    random[0] = '\x7f'; // as a length it is beyond the limit
    tavobj::Message many;
    for (int i = 0; i < 16385; ++i)
        many.add_objects()->set_kind(1);
    tavobj::Message strange;
    strange.set_type(256);
    int returns = 0;
    for (const std::string& bytes :
         {std::string("\xff\xff\xff\xff", 4), std::string("\x00\x10\x00\x01", 4), random, std::string(4, '\0'),
          sim::Tavd::frame("\xff\xff\xff"), sim::Tavd::frame(many.SerializeAsString()),
          sim::Tavd::frame(strange.SerializeAsString())}) {
        server.sendRaw(bytes);
        ASSERT_TRUE(comesBack(++returns));
        ASSERT_EQ(ask(cObjectPort(), "IN1").size(), 1u);
    }
}

// What is a message but holds nonsense costs the nonsense, and nothing else.
TEST_F(ObjectClient, NonsenseInAMessageIsLeftOut)
{
    connect();
    tavobj::Message message;
    message.set_type(0);
    message.add_objects()->set_kind(4000000000u);
    tavobj::Object* object = message.add_objects();
    object->set_kind(1);
    object->mutable_port()->set_label(std::string(10000, 'x'));
    object = message.add_objects();
    object->set_kind(1);
    object->mutable_port()->set_label(std::string("IN1\0x", 5));
    object = message.add_objects();
    object->set_kind(1);
    object->mutable_port()->set_label("IN1");
    object->mutable_port()->set_status(77);
    server.answerGetsWith(message.SerializeAsString());
    cWlog::init(cWlog::WARN);
    testing::internal::CaptureStderr();
    auto objects = ask(cObjectPort(), "IN1");
    for (int i = 0; i < 20; ++i)
        ask(cObjectPort(), "IN1");
    const size_t warnings = timesIn(testing::internal::GetCapturedStderr(), ": ignored");
    EXPECT_GE(warnings, 1U);
    EXPECT_LT(warnings, 20U) << "not for every message of a server gone mad";
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(dynamic_cast<cObjectPort&>(*objects[0]).getPortStatus(), cObject::OBJ_STATUS_ALARM_UNKNOWN);

    server.answerGetsWith("");
    message.set_id(4711); // of no request: an answer that nobody waits for
    server.sendRaw(sim::Tavd::frame(message.SerializeAsString()));
    EXPECT_EQ(ask(cObjectPort(), "IN1").size(), 1u);
    message.set_type(255); // the listener's to judge
    server.sendRaw(sim::Tavd::frame(message.SerializeAsString()));
    EXPECT_TRUE(listener.waitUntil([this] { return !listener.types.empty() && listener.types.back() == 255; }));
    EXPECT_EQ(listener.returns, 0) << "the connection was never given up";
}

// A few large messages hold as much as very many small ones.
TEST_F(ObjectClient, WhatAStuckListenerLeavesUndeliveredIsBounded)
{
    connect();
    tavobj::Message large;
    large.set_type(3);
    for (int i = 0; i < 16000; ++i)
        large.add_objects()->set_kind(10);
    std::string frames;
    for (int i = 0; i < 20; ++i)
        frames += sim::Tavd::frame(large.SerializeAsString());
    {
        std::lock_guard<std::mutex> stuck(listener.mutex);
        server.sendRaw(frames);
        ASSERT_TRUE(server.waitUntil([this] { return server.connections() == 2; }, kLimit));
    }
    ASSERT_TRUE(comesBack(1));
    EXPECT_LT(listener.types.size(), 5u) << "what was undelivered is dropped with its connection";
}

TEST_F(ObjectClient, DoesNotAskTheServerForNothingNorForMoreThanAnAnswerHolds)
{
    connect();
    cObjectList request;
    const std::unique_ptr<cObjectList> answer(client->get(&request));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->first(), nullptr);
    for (int i = 0; i < 16385; ++i)
        request.add(new cObjectPort());
    EXPECT_EQ(client->get(&request), nullptr);
    request.deleteObjects();
    EXPECT_EQ(server.gets(), 1u) << "connect()'s";
    EXPECT_EQ(listener.returns, 0);
}

} // namespace

// The linker gives this to the resolver, which makes its thread in a header. All other threads are made in a library.
extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument)
{
    return noResolver ? EAGAIN : __real_pthread_create(thread, attributes, body, argument);
}
}
