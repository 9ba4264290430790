// The object client against the simulated server: answers, events, writes, outages, and servers that lie.
#include "cObjectClient.h"
#include "cObjectList.h"
#include "cObjectListener.h"
#include "cWlog.h"
#include "codec.h"
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
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <pthread.h>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

using namespace std::chrono_literals;

namespace {

std::atomic<bool> noResolver{false};

constexpr auto kLimit = 30s; // far more than anything here takes

struct Listener : cObjectListener {
    void handleObjectAction(cObjectList* message) override
    {
        if (also)
            also();
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

    std::function<void()> also; // set before the client starts
    std::mutex mutex;           // guards what follows
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
    void start(uint16_t port, const char* host = "127.0.0.1")
    {
        client = std::make_unique<cObjectClient>();
        client->addListener(&listener);
        client->onReconnection([this] { listener.reconnected(); });
        ASSERT_TRUE(client->start(host, port));
    }
    void connect()
    {
        start(server.port());
        ASSERT_TRUE(answers()) << "the first get waits for the connection";
    }
    // The objects of the answer, if there is one.
    std::optional<std::vector<std::unique_ptr<cObject>>> ask(cObjectPort&& wanted, const char* label)
    {
        wanted.setPortLabel(label);
        cObjectList request;
        request.add(&wanted);
        const std::unique_ptr<cObjectList> answer(client->get(&request));
        if (!answer)
            return std::nullopt;
        std::vector<std::unique_ptr<cObject>> objects;
        for (cObject* object = answer->first(); object != nullptr; object = answer->next())
            objects.emplace_back(object);
        return objects;
    }
    bool answers()
    {
        const auto found = ask(cObjectPort(), "IN1");
        return found && found->size() == 1;
    }
    void expectARefusalBeforeTheLimitOfAGet()
    {
        const auto begun = std::chrono::steady_clock::now();
        EXPECT_FALSE(ask(cObjectPort(), "IN1"));
        EXPECT_LT(std::chrono::steady_clock::now() - begun, 4s);
    }
    int drive(const char* label, cObject::eObjectIOState state = cObject::OBJ_IO_STATE_SET)
    {
        cObjectDOutput output;
        output.setPortLabel(label);
        output.setPortToggled(cObjectPort::PORT_TOGGLED_IODRIVER);
        output.setOutputState(state);
        return client->set(&output);
    }
    bool comesBack(int times)
    {
        return listener.waitUntil([this, times] { return listener.returns >= times; });
    }

    sim::Tavd server;
    Listener listener;
    std::unique_ptr<cObjectClient> client;
};

TEST_F(ObjectClient, DeliversEventsInOrderAndAnswersToWhoAsks)
{
    connect();
    for (uint32_t i = 0; i < 300; ++i)
        server.setInput("IN1", 1 + i % 3);
    EXPECT_TRUE(answers());
    ASSERT_TRUE(listener.waitUntil([this] { return listener.statuses.size() == 300; }));
    for (uint32_t i = 0; i < 300; ++i)
        ASSERT_EQ(listener.statuses[i], 1 + i % 3);
    for (uint8_t type : listener.types)
        EXPECT_EQ(type, 3);
    server.setInput("IN2", 3);
    const auto found = ask(cObjectPort(), "IN2");
    ASSERT_TRUE(found && found->size() == 1u);
    EXPECT_EQ(dynamic_cast<cObjectPort&>(*found->front()).getPortStatus(), cObject::OBJ_STATUS_ALARM_WARN);
}

// The socket fills and takes part of a frame; what waits behind it is the newest state of each output.
TEST_F(ObjectClient, WritesToAServerThatDoesNotReadWaitForItAndTheirCallerDoesNot)
{
    connect();
    server.hang(true);
    constexpr int kWrites = 150000; // of some 40 bytes: more than the socket's buffers hold
    for (int i = 0; i <= kWrites; ++i) {
        for (const char* label : {"OUT1", "OUT2"})
            ASSERT_EQ(drive(label, i % 2 != 0 ? cObject::OBJ_IO_STATE_CLEAR : cObject::OBJ_IO_STATE_SET), 0);
    }
    ASSERT_EQ(drive("OUT3"), 0);
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
            while (!done) {
                drive("OUT2");
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
    ASSERT_TRUE(server.waitUntil([&] { return answers(); }, kLimit));
    EXPECT_EQ(drive("OUT1"), 0);
    EXPECT_TRUE(server.waitForOutput("OUT1", cObject::OBJ_IO_STATE_SET, kLimit));
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
    expectARefusalBeforeTheLimitOfAGet();
}

TEST_F(ObjectClient, AResolverThatCannotStartIsTriedAnew)
{
    noResolver = true;
    start(server.port(), "localhost");
    EXPECT_FALSE(ask(cObjectPort(), "IN1"));
    noResolver = false;
    EXPECT_TRUE(server.waitUntil([&] { return server.clients() == 1; }, kLimit));
}

TEST_F(ObjectClient, WithoutAServerNothingBlocksAndItsComingIsNoticed)
{
    server.stop();
    start(server.port());
    expectARefusalBeforeTheLimitOfAGet();
    EXPECT_EQ(drive("OUT1"), -1);
    ASSERT_TRUE(server.start("127.0.0.1", server.port()));
    ASSERT_TRUE(comesBack(1)) << "who has asked in vain is told";
    EXPECT_TRUE(answers());
    server.stop();
    EXPECT_TRUE(server.waitUntil([&] { return drive("OUT1") == -1; }, kLimit)) << "a lost server as well";
}

TEST_F(ObjectClient, AServerThatHangsIsGivenUpAndTriedAnew)
{
    connect();
    server.hang(true);
    EXPECT_FALSE(ask(cObjectPort(), "IN1"));
    server.hang(false);
    ASSERT_TRUE(comesBack(1)) << "the silent connection is replaced, so that the server's return is told";
    EXPECT_TRUE(answers());
}

TEST_F(ObjectClient, AGetEndsWithItsConnection)
{
    connect();
    tavobj::Message broken;
    broken.set_type(300);
    server.answerGetsWith(broken.SerializeAsString());
    expectARefusalBeforeTheLimitOfAGet();
}

TEST_F(ObjectClient, AListenerMayAskWhileItRuns)
{
    std::atomic<bool> answered{false};
    listener.also = [&] { answered = answers(); };
    connect();
    server.setInput("IN1", 1);
    EXPECT_TRUE(server.waitUntil([&] { return answered.load(); }, kLimit));
    client.reset(); // its threads end before the flag
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
        ASSERT_TRUE(answers());
    }
}

// What is a message but holds nonsense costs the nonsense, and nothing else.
TEST_F(ObjectClient, NonsenseInAMessageIsLeftOut)
{
    connect();
    tavobj::Message message;
    message.set_type(0);
    message.add_objects()->set_kind(4000000000u);
    for (const std::string& label : {std::string(10000, 'x'), std::string("IN1\0x", 5), std::string("IN1")}) {
        tavobj::Object* object = message.add_objects();
        object->set_kind(1);
        object->mutable_port()->set_label(label);
        object->mutable_port()->set_status(77);
    }
    server.answerGetsWith(message.SerializeAsString());
    cWlog::init(cWlog::WARN);
    testing::internal::CaptureStderr();
    const auto objects = ask(cObjectPort(), "IN1");
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(answers());
    const size_t warnings = timesIn(testing::internal::GetCapturedStderr(), ": ignored");
    EXPECT_GE(warnings, 1U);
    EXPECT_LT(warnings, 20U) << "not for every message of a server gone mad";
    ASSERT_TRUE(objects && objects->size() == 1u);
    EXPECT_EQ(dynamic_cast<cObjectPort&>(*objects->front()).getPortStatus(), cObject::OBJ_STATUS_ALARM_UNKNOWN);

    server.answerGetsWith("");
    message.set_id(4711); // of no request: an answer that nobody waits for
    server.sendRaw(sim::Tavd::frame(message.SerializeAsString()));
    EXPECT_TRUE(answers());
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

TEST(ObjectCodec, ASetCarriesTheWholeOutput)
{
    cObjectDOutput output;
    output.setPortLabel("OUT");
    output.setDeviceSerial(7);
    output.setPortId(8);
    output.setPortType(3);
    output.setPortStatus(cObject::OBJ_STATUS_ALARM_WARN);
    output.setPortToggled(cObjectPort::PORT_TOGGLED_CCD);
    output.setDefaultState(cObject::OBJ_IO_STATE_SET);
    output.setOutputState(cObject::OBJ_IO_STATE_CLEAR);
    const std::string frame = tavcodec::encodeSet(5, output);
    tavobj::Message message;
    ASSERT_TRUE(message.ParseFromString(frame.substr(tavcodec::kHeader)));
    EXPECT_EQ(message.id(), 5U);
    const tavobj::Port& port = message.objects(0).port();
    EXPECT_EQ(std::make_tuple(port.label(), port.serial(), port.id(), port.type(), port.status(), port.toggled(),
                              port.default_state(), port.output_state()),
              std::make_tuple("OUT", 7U, 8U, 3U, 3U, 3U, 1U, 2U));
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
