// Trigger trees, output actions, port lists and events, on lists that the tests fill.
#include "ManagerBench.h"
#include "listener.h"
#include "scratchFolder.h"

#include <gtest/gtest.h>
#include <log4cpp/AppenderSkeleton.hh>
#include <log4cpp/Category.hh>
#include <log4cpp/LoggingEvent.hh>

#include <memory>
#include <string>
#include <thread>

namespace {

using M = GSMIOmanager;
constexpr auto kAlarm = cObject::OBJ_STATUS_ALARM_SET;
constexpr auto kCalm = cObject::OBJ_STATUS_ALARM_CLEAR;
constexpr auto kUnknown = cObject::OBJ_IO_STATE_UNKNOWN;
constexpr auto kSet = cObject::OBJ_IO_STATE_SET;
constexpr auto kClear = cObject::OBJ_IO_STATE_CLEAR;

// The lines that the action logs.
template <typename Action> std::string linesOf(Action action)
{
    cWlog::init(cWlog::DEBUG);
    const std::string lines = standardErrorOf(action);
    cWlog::init(cWlog::ERROR);
    return lines;
}

class Evaluation : public testing::Test {
protected:
    ManagerBench& manager = ManagerBench::forEver();
};

TEST_F(Evaluation, TreeGivesTheStateOfItsDecidingOrLastChild)
{
    manager.addInput("on", 1, kAlarm);
    manager.addInput("off", 2, kCalm);
    manager.addInput("warn", 3, cObject::OBJ_STATUS_ALARM_WARN);
    manager.addInput("none", 4, cObject::OBJ_STATUS_ALARM_UNKNOWN);
    using T = tavTrigger;
    const struct {
        const char* name;
        tavTrigger* tree;
        M::eTrigState state;
    } rows[] = {
        {"set", leaf("on"), M::SET},
        {"set, inverted", leaf("on", true), M::RESET},
        {"clear", leaf("off"), M::RESET},
        {"warn is not active", leaf("warn"), M::RESET},
        {"warn, inverted, is", leaf("warn", true), M::SET},
        {"unknown, inverted", leaf("none", true), M::SET},
        {"no such input", leaf("ON"), M::OFFLINE},
        {"prefix of a label", leaf("o"), M::OFFLINE},
        {"no such input, inverted", leaf("gone", true), M::OFFLINE},
        {"no label", leaf(""), M::OFFLINE},
        {"OR: any", composite(T::OR, {leaf("off"), leaf("on"), leaf("gone")}), M::SET},
        {"OR: last offline", composite(T::OR, {leaf("off"), leaf("gone")}), M::OFFLINE},
        {"OR: first offline", composite(T::OR, {leaf("gone"), leaf("off")}), M::RESET},
        {"AND: all", composite(T::AND, {leaf("on"), leaf("off", true)}), M::SET},
        {"AND: one missing", composite(T::AND, {leaf("on"), leaf("off"), leaf("gone")}), M::RESET},
        {"AND: last offline", composite(T::AND, {leaf("on"), leaf("gone")}), M::OFFLINE},
        {"AND: first offline", composite(T::AND, {leaf("gone"), leaf("on")}), M::SET},
        {"nulls are passed over", composite(T::AND, {nullptr, leaf("on"), nullptr}), M::SET},
        {"only nulls", composite(T::OR, {nullptr, nullptr}), M::OFFLINE},
        {"empty", composite(T::OR, {}), M::OFFLINE},
        {"INVERSE composite", composite(T::INVERSE, {leaf("on")}), M::OFFLINE},
        {"nested",
         composite(T::AND, {composite(T::OR, {leaf("off"), leaf("on")}), composite(T::AND, {leaf("on"), leaf("on")})}),
         M::SET},
        {"nested offline last", composite(T::OR, {leaf("off"), composite(T::INVERSE, {leaf("on")})}), M::OFFLINE},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(manager.getTriggerState(row.tree), row.state) << row.name;
        EXPECT_EQ(manager.getTriggerState(row.tree), row.state) << row.name << ", again";
        delete row.tree;
    }
}

TEST_F(Evaluation, ActiveTriggerDrivesAwayFromTheDefaultAndInactiveBackToIt)
{
    const struct {
        M::eTrigState state;
        tavTrigger::eOperation operation;
        cObject::eObjectIOState byDefault, now, then;
        bool written;
    } rows[] = {
        {M::SET, tavTrigger::OR, kClear, kClear, kSet, true},
        {M::SET, tavTrigger::AND, kSet, kSet, kClear, true},
        {M::RESET, tavTrigger::OR, kClear, kSet, kClear, true},
        {M::RESET, tavTrigger::OR, kSet, kUnknown, kSet, true},
        {M::SET, tavTrigger::OR, kClear, kSet, kSet, false},
        {M::RESET, tavTrigger::OR, kClear, kClear, kClear, false},
        {M::SET, tavTrigger::INVERSE, kClear, kSet, kClear, true},
        {M::RESET, tavTrigger::INVERSE, kClear, kClear, kSet, true},
        {M::OFFLINE, tavTrigger::INVERSE, kClear, kSet, kSet, false},
        {M::SET, tavTrigger::OR, kUnknown, kSet, kSet, true},
        {M::RESET, tavTrigger::OR, kUnknown, kUnknown, kUnknown, false},
    };
    cObjectDOutput* output = manager.addOutput("OUT", kClear, kClear);
    int number = 0;
    for (const auto& row : rows) {
        for (const bool commanded : {false, true}) { // the evaluation's step and that of an SMS command
            output->setDefaultState(row.byDefault);
            output->setOutputState(row.now);
            output->setPortToggled(cObjectPort::PORT_TOGGLED_WEBSITE);
            const std::unique_ptr<tavTrigger> step(action("OUT", row.operation));
            if (commanded)
                manager.setActionState(row.state, step.get(), nullptr, nullptr);
            else
                manager.setActionState(row.state, step.get(), nullptr);
            EXPECT_EQ(output->getOutputState(), row.then) << number << commanded;
            EXPECT_EQ(output->getPortToggled(),
                      row.written ? cObjectPort::PORT_TOGGLED_IODRIVER : cObjectPort::PORT_TOGGLED_WEBSITE)
                << number << commanded;
        }
        ++number;
    }
}

TEST_F(Evaluation, UnknownDefaultIsWrittenUnchangedAndToldAsClear)
{
    manager.addInput("IN", 1, kAlarm);
    cObjectDOutput* output = manager.addOutput("OUT", kUnknown, kSet);
    manager.addConnection(composite(tavTrigger::OR, {leaf("IN")}), action("OUT"));
    const std::string lines = linesOf([&] {
        manager.check_trigger_values();
        output->setOutputState(kUnknown);
        manager.check_trigger_values();
    });
    EXPECT_EQ(timesIn(lines, "Setting OUT, state: CLEAR"), 1u) << lines;
    EXPECT_EQ(timesIn(lines, "Port OUT Already Good"), 1u) << lines;
}

TEST_F(Evaluation, OfflineTriggersMissingOutputsAndHalfConnectionsDriveNothing)
{
    cObjectDOutput* output = manager.addOutput("OUT", kClear, kSet);
    manager.check_trigger_values(); // neither inputs nor connections yet
    manager.addConnection(nullptr, action("OUT"));
    manager.addConnection(composite(tavTrigger::OR, {leaf("GONE")}), action("OUT"));
    manager.mConnLst->add(nullptr);
    manager.addInput("IN", 1, kAlarm);
    manager.addConnection(composite(tavTrigger::OR, {leaf("IN")}), nullptr);
    manager.addConnection(composite(tavTrigger::OR, {leaf("IN")}), action("out"));
    manager.addConnection(composite(tavTrigger::OR, {leaf("IN")}), action("OUT", tavTrigger::OR, 9));
    manager.check_trigger_values();
    EXPECT_EQ(output->getPortToggled(), cObjectPort::PORT_TOGGLED_UNKNOWN);
    EXPECT_EQ(output->getOutputState(), kSet);
}

TEST_F(Evaluation, GsmActionsPostOneRequestAndNoneWhileItIsUnserved)
{
    manager.addInput("IN", 1, kCalm);
    for (int i = 0; i < 10; ++i)
        manager.addConnection(composite(tavTrigger::OR, {leaf("IN")}), action("ALARM", tavTrigger::OR, 9));
    auto* queue = new cGsmQManager(); // its thread lives as long as the process
    manager.mSmsQHandler = queue;
    cWlog logger("gsm_handler_tread");
    const auto evaluateTwentyTimes = [&] {
        for (int i = 0; i < 20; ++i)
            manager.check_trigger_values();
        return queue->getEvents()->size();
    };
    EXPECT_EQ(evaluateTwentyTimes(), 0U) << "the modem is not set up yet, or never";
    manager.serveSendRequest(&logger);
    EXPECT_EQ(evaluateTwentyTimes(), 1U);
    manager.serveSendRequest(&logger);
    EXPECT_FALSE(manager.m_RequestSmsSend);
    EXPECT_EQ(evaluateTwentyTimes(), 2U);
    queue->subscribe(&manager);
    manager.serveSendRequest(&logger);
    manager.check_trigger_values();
    EXPECT_TRUE(eventually([&] { return manager.m_RequestSmsSend.load(); }));
}

// Whoever waits for the lock goes on while each of the evaluation's lines stands still in the log.
TEST_F(Evaluation, WritesItsLinesWhenItHasLetGoOfItsLock)
{
    class Stuck : public log4cpp::AppenderSkeleton {
    public:
        explicit Stuck(ManagerBench& manager) : AppenderSkeleton("stuck"), m_manager(manager) {}
        void close() override {}
        bool requiresLayout() const override { return false; }
        void setLayout(log4cpp::Layout* /*layout*/) override {}
        int m_lines = 0;

    protected:
        void _append(const log4cpp::LoggingEvent& /*event*/) override
        {
            ++m_lines;
            std::thread([this] { // hangs, and the test with it, where the lock is held
                m_manager.mEvaluationMutex.lock();
                m_manager.mEvaluationMutex.unlock();
            })
                .join();
        }

    private:
        ManagerBench& m_manager;
    };
    manager.addInput("IN", 1, kAlarm);
    manager.addOutput("OUT", kClear, kClear);
    manager.addConnection(leaf("IN"), leaf("OUT"));
    int lines = 0;
    const std::string log = linesOf([&] {
        auto& stuck = *new Stuck(manager); // the category's
        log4cpp::Category::getInstance("GSMIOmanager").addAppender(stuck);
        manager.check_trigger_values();
        manager.update_lists();
        lines = stuck.m_lines;
    });
    EXPECT_EQ(lines, static_cast<int>(timesIn(log, "GSMIOmanager"))) << "each line is written";
    EXPECT_GE(lines, 5);
}

TEST_F(Evaluation, LabelListsHoldEachLabelOnce)
{
    using T = tavTrigger;
    manager.addConnection(composite(T::OR, {leaf("A"), composite(T::AND, {leaf("B"), composite(T::OR, {leaf("C")})})}),
                          action("X"));
    manager.addConnection(composite(T::INVERSE, {leaf("A"), leaf("X"), leaf("a")}), action("X"));
    manager.addConnection(composite(T::OR, {leaf("B")}), action("SMS", T::OR, 9));
    manager.collectLabels();
    const auto labels = [](WList* list) {
        std::string all;
        list->reset();
        while (auto* port = static_cast<cObjectPort*>(list->get())) {
            all += std::string(port->getPortLabel()) + ' ';
            list->step();
        }
        return all;
    };
    EXPECT_EQ(labels(manager.mTriggerPortLabels), "A B C X a ");
    EXPECT_EQ(labels(manager.mOutputPortLabels), "X SMS ");
}

class Events : public Evaluation {
protected:
    void SetUp() override
    {
        input = manager.addInput("IN", 7, kCalm);
        output = manager.addOutput("OUT", kClear, kClear);
        manager.addConnection(composite(tavTrigger::OR, {leaf("IN")}), action("OUT"));
    }
    static cObjectEvent* event(int id, int type, cObject::eObjectStatus status,
                               cObjectEvent::eEventType kind = cObjectEvent::EVENT_PORT)
    {
        auto* made = new cObjectEvent();
        made->setEventType(kind);
        made->setDeviceSerial(0x10);
        made->setPortId(id);
        made->setObjectType(type);
        made->setStatus(status);
        return made;
    }
    void deliver(std::initializer_list<cObject*> objects, uint8_t type = 3) { deliver(manager, objects, type); }
    static void deliver(ManagerBench& to, std::initializer_list<cObject*> objects, uint8_t type = 3)
    {
        cObjectList message;
        message.setMsgType(type);
        for (cObject* object : objects)
            message.add(object);
        to.handleObjectAction(&message);
        message.deleteObjects();
    }
    cObjectPort* input = nullptr;
    cObjectDOutput* output = nullptr;
};

TEST_F(Events, OnlyPortEventsInEventMessagesCount)
{
    deliver({event(7, 2, kAlarm, cObjectEvent::EVENT_DEVICE), event(7, 2, kAlarm, cObjectEvent::EVENT_PORT_ANALOG)});
    for (uint8_t type = 0; type < 3; ++type)
        deliver({event(7, 2, kAlarm)}, type);
    EXPECT_EQ(input->getPortStatus(), kCalm);
    EXPECT_EQ(output->getOutputState(), kClear);
    deliver({new cObjectDOutput(), event(7, 2, kAlarm)});
    EXPECT_EQ(input->getPortStatus(), kAlarm);
    EXPECT_EQ(output->getOutputState(), kSet);
}

TEST_F(Events, EveryPortEventOfAMessageHasItsOwnEvaluation)
{
    const std::string lines = linesOf([&] {
        deliver({event(7, 2, kAlarm), event(7, 2, kCalm), event(99, 2, kAlarm), event(7, 2, kAlarm)});
    });
    EXPECT_EQ(timesIn(lines, "Setting OUT, state: "), 3u) << lines;
    EXPECT_EQ(timesIn(lines, "Port OUT Already Good"), 1u) << "the strange port's event evaluates too\n" << lines;
    EXPECT_EQ(timesIn(lines, "Updating Trigger: Serial=0x00000010,port=7,port_type=2,almstat=SET"), 2u) << lines;
}

TEST_F(Events, BeforeTheFirstRefreshChangeNothing)
{
    auto& early = ManagerBench::forEver();
    early.addConnection(leaf("IN"), action("OUT"));
    deliver(early, {event(7, 2, kAlarm)});
    EXPECT_EQ(early.mTriggerPorts, nullptr);
    EXPECT_EQ(early.getInputs("IN", 0), nullptr);
    EXPECT_EQ(early.getOutputs("OUT", 0), nullptr);
}

} // namespace
