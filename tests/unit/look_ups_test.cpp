// Look-ups by index against the walks that they stand for, on lists as servers send them.
#include "ManagerBench.h"
#include "scratchFolder.h"
#include "tavd/Tavd.h"
#include "tavobj.pb.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kLabels = 40; // L0 ... L39; a list lacks some and has others twice

class LookUps : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start("127.0.0.1", 0));
        for (int i = 0; i < kLabels; ++i) {
            leaves.push_back(leaf(label(i).c_str()));
            actions.push_back(action(label(i).c_str()));
            manager.addConnection(leaves.back(), actions.back());
        }
        manager.collectLabels();
        manager.connectTo("127.0.0.1", server.port());
    }
    static std::string label(int i) { return "L" + std::to_string(i); }
    unsigned below(unsigned limit) { return static_cast<unsigned>(random()) % limit; }
    // Ports as inputs and as outputs alike: an output is a port, too.
    void refreshWith(unsigned ports)
    {
        tavobj::Message message;
        for (unsigned i = 0; i < ports; ++i) {
            tavobj::Object* object = message.add_objects();
            object->set_kind(cObject::OBJ_PORT_DOUT);
            object->mutable_port()->set_label(label(static_cast<int>(below(kLabels))));
            object->mutable_port()->set_serial(below(3));
            object->mutable_port()->set_id(below(4));
            object->mutable_port()->set_type(below(2));
            object->mutable_port()->set_status(1 + below(2));
        }
        message.set_type(0);
        server.answerGetsWith(message.SerializeAsString());
        manager.update_lists();
        ASSERT_EQ(manager.mTriggerPorts->size(), ports);
        ASSERT_EQ(manager.mOutputPorts->size(), ports);
    }
    template <typename Condition> static cObjectPort* walk(WList* ports, Condition holds)
    {
        ports->reset();
        while (auto* port = static_cast<cObjectPort*>(ports->get())) {
            if (holds(port))
                return port;
            ports->step();
        }
        return nullptr;
    }
    static cObjectPort* walk(WList* ports, const std::string& wanted)
    {
        return walk(ports, [&](cObjectPort* port) { return wanted == port->getPortLabel(); });
    }
    void compareLabels()
    {
        for (int i = 0; i < kLabels; ++i) {
            cObjectPort* input = walk(manager.mTriggerPorts, label(i));
            ASSERT_EQ(manager.getInputs(label(i).c_str(), 0), input);
            ASSERT_EQ(manager.getOutputs(label(i).c_str(), 0), walk(manager.mOutputPorts, label(i)));
            const auto wanted = input == nullptr                                          ? GSMIOmanager::OFFLINE
                                : input->getPortStatus() == cObject::OBJ_STATUS_ALARM_SET ? GSMIOmanager::SET
                                                                                          : GSMIOmanager::RESET;
            tavTrigger* leaf = leaves[static_cast<size_t>(i)];
            ASSERT_EQ(manager.handleTrigger(leaf), wanted) << "remembers another list's port";
            ASSERT_EQ(leaf->getPort(), input) << "walks, since the refresh has made no index";
        }
    }
    void compareEvent()
    {
        cObjectEvent event;
        event.setEventType(cObjectEvent::EVENT_PORT);
        event.setDeviceSerial(below(3));
        event.setPortId(static_cast<int>(below(4)));
        event.setObjectType(static_cast<int>(below(2)));
        event.setStatus(cObject::OBJ_STATUS_ALARM_WARN);
        cObjectPort* meant = walk(manager.mTriggerPorts, [&](cObjectPort* port) {
            return port->getDeviceSerial() == event.getDeviceSerial() && port->getPortId() == event.getPortId() &&
                   port->getPortType() == event.getObjectType();
        });
        cObjectList message;
        message.setMsgType(3);
        message.add(&event);
        manager.handleObjectAction(&message);
        const auto isMarked = [](cObjectPort* port) { return port->getPortStatus() == cObject::OBJ_STATUS_ALARM_WARN; };
        ASSERT_EQ(walk(manager.mTriggerPorts, isMarked), meant);
        if (meant != nullptr)
            meant->setPortStatus(cObject::OBJ_STATUS_ALARM_CLEAR);
        ASSERT_EQ(walk(manager.mTriggerPorts, isMarked), nullptr) << "no other port was marked";
    }

    std::mt19937 random{1};
    sim::Tavd& server = forEver<sim::Tavd>();
    ManagerBench& manager = ManagerBench::forEver();
    std::vector<tavTrigger*> leaves, actions;
};

TEST_F(LookUps, FindWhatAWalkFindsOnEveryListAfterEveryRefresh)
{
    for (int round = 0; round < 50; ++round) {
        refreshWith(round == 0 ? 10000 : below(90));
        for (int i = 0; i < 5; ++i) {
            compareEvent();
            compareLabels();
        }
    }
}

TEST_F(LookUps, FindWhatIsAddedToTheListsByHand)
{
    refreshWith(0);
    manager.check_trigger_values(); // every leaf remembers that there is no port
    manager.addInput("L0", 77, cObject::OBJ_STATUS_ALARM_SET);
    manager.addOutput("L0", cObject::OBJ_IO_STATE_CLEAR, cObject::OBJ_IO_STATE_CLEAR);
    manager.check_trigger_values();
    EXPECT_EQ(manager.getOutputs("L0", 0)->getOutputState(), cObject::OBJ_IO_STATE_SET);
}

TEST_F(LookUps, WithTheTraceOnShowTheWholeWalkToAnOutputEveryTime)
{
    refreshWith(60);
    size_t passed = 0; // ports, on the walks to each label
    for (int i = 0; i < kLabels; ++i)
        walk(manager.mOutputPorts, [&](cObjectPort* port) {
            ++passed;
            return label(i) == port->getPortLabel();
        });
    cWlog::init(cWlog::DEBUG);
    const std::string lines = standardErrorOf([&] {
        for (int times = 0; times < 2; ++times)
            for (tavTrigger* commanded : actions)
                manager.setActionState(GSMIOmanager::SET, commanded, nullptr, nullptr);
    });
    cWlog::init(cWlog::INFO);
    EXPECT_EQ(timesIn(lines, "Checking Output"), 2 * passed);
}

} // namespace
