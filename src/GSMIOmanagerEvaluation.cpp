// From trigger trees to states, from states to outputs.
#include "GSMIOmanager.h"

#include "smsSendRequestEvent.h"

namespace {

// An active trigger drives an output away from its default state, an inactive one back to it.
cObject::eObjectIOState targetState(GSMIOmanager::eTrigState state, cObject::eObjectIOState defaultState)
{
    const bool active = state == GSMIOmanager::SET;
    switch (defaultState) {
    case cObject::OBJ_IO_STATE_SET:
        return active ? cObject::OBJ_IO_STATE_CLEAR : cObject::OBJ_IO_STATE_SET;
    case cObject::OBJ_IO_STATE_CLEAR:
        return active ? cObject::OBJ_IO_STATE_SET : cObject::OBJ_IO_STATE_CLEAR;
    default:
        return cObject::OBJ_IO_STATE_UNKNOWN;
    }
}

} // namespace

// A pending request covers this evaluation, too: the GSM handler evaluates when it serves the request.
void GSMIOmanager::check_trigger_values()
{
    const Evaluating evaluation(*this);
    mConnLst->reset();
    for (uint16_t i = mConnLst->size(); i > 0; --i) {
        if (auto* connection = static_cast<tavConnection*>(mConnLst->get()))
            handleConnection(connection, mRequestUnserved ? nullptr : mSmsQHandler);
        mConnLst->step();
    }
}

void GSMIOmanager::handleConnection(tavConnection* conn, cGsmQManager* smsQHandler)
{
    if (conn->getTrigger() == nullptr)
        return;
    const eTrigState state = getTriggerState(conn->getTrigger());
    if (state == OFFLINE || conn->getAction() == nullptr)
        return;
    setActionState(state, conn->getAction(), smsQHandler);
}

GSMIOmanager::eTrigState GSMIOmanager::getTriggerState(tavTrigger* trigger)
{
    if (trigger->getTriggerLst() == nullptr)
        return handleTrigger(trigger);
    switch (trigger->getOperation()) {
    case tavTrigger::OR:
        return handleORtrigger(trigger->getTriggerLst());
    case tavTrigger::AND:
        return handleANDtrigger(trigger->getTriggerLst());
    default:
        return OFFLINE;
    }
}

GSMIOmanager::eTrigState GSMIOmanager::handleTrigger(tavTrigger* trigger)
{
    const char* label = trigger->getLabel();
    if (label[0] == '\0') {
        debug("Trigger Label is NULL");
        return OFFLINE;
    }
    cObjectPort* input = inputOf(trigger);
    if (input == nullptr) {
        debug("Could not find input %s", label);
        return OFFLINE;
    }
    const bool active = input->getPortStatus() == cObject::OBJ_STATUS_ALARM_SET;
    debug("Found trigger %s alarm_state %s", label, active ? "SET" : "CLEAR");
    return active != trigger->getInvert() ? SET : RESET;
}

// A leaf's input, looked up once after each refresh. The lists do not change under the evaluation mutex.
cObjectPort* GSMIOmanager::inputOf(tavTrigger* leaf)
{
    if (!mInputIndex.isOf(mTriggerPorts))
        return getInputs(leaf->getLabel(), leaf->getType());
    if (!leaf->remembersPort(mInputIndex.number()))
        leaf->rememberPort(mInputIndex.number(), getInputs(leaf->getLabel(), leaf->getType()));
    return leaf->getPort();
}

// The same for an action's output. With the trace on, every look-up is repeated and traced.
cObjectDOutput* GSMIOmanager::outputOf(tavTrigger* action)
{
    if (!mOutputIndex.isOf(mOutputPorts) || LaterLog::mayTrace(*this))
        return getOutputs(action->getLabel(), action->getType());
    if (!action->remembersPort(mOutputIndex.number()))
        action->rememberPort(mOutputIndex.number(), getOutputs(action->getLabel(), action->getType()));
    return static_cast<cObjectDOutput*>(action->getPort());
}

GSMIOmanager::eTrigState GSMIOmanager::handleORtrigger(WList* trigLst)
{
    return firstOrLast(SET, trigLst);
}

GSMIOmanager::eTrigState GSMIOmanager::handleANDtrigger(WList* trigLst)
{
    return firstOrLast(RESET, trigLst);
}

// The first child in the deciding state ends the walk. Without one, the last child evaluated decides.
GSMIOmanager::eTrigState GSMIOmanager::firstOrLast(eTrigState deciding, WList* trigLst)
{
    eTrigState state = OFFLINE;
    trigLst->reset();
    for (uint16_t i = trigLst->size(); i > 0; --i) {
        if (auto* child = static_cast<tavTrigger*>(trigLst->get())) {
            state = getTriggerState(child);
            if (state == deciding)
                break;
        }
        trigLst->step();
    }
    return state;
}

void GSMIOmanager::setActionState(eTrigState state, tavTrigger* action, cGsmQManager* smsQHandler)
{
    debug("inside set acion state\n");
    debug("Action Operation is: %d", action->getOperation());
    if (action->getOperation() == tavTrigger::INVERSE && state == RESET) {
        debug("This is an inverse reset");
        state = SET;
    } else if (action->getOperation() == tavTrigger::INVERSE && state == SET) {
        debug("This is an inverse SET");
        state = RESET;
    }
    if (state != SET && state != RESET)
        return;

    if (action->getType() == tavTrigger::kTypeGsm) {
        if (smsQHandler != nullptr) {
            debug("ADD TO SMS REQUEST\n");
            mRequestUnserved = true;
            smsQHandler->iInsertEvent(new smsSendRequestEvent());
        }
        return;
    }
    driveOutput(state, action, false);
}

// Drives an output, for rules and for SMS commands; the two differ in one trace line.
void GSMIOmanager::driveOutput(eTrigState state, tavTrigger* action, bool commanded)
{
    cObjectDOutput* output = outputOf(action);
    if (output == nullptr)
        return;
    const char* label = output->getPortLabel();
    debug("Got Output: %s state: %d\n", label, output->getOutputState());

    const cObject::eObjectIOState target = targetState(state, output->getDefaultState());
    if (output->getOutputState() == target) {
        if (commanded)
            debug("Output %s Already Good", label);
        else
            debug("Port %s Already Good", label);
        return;
    }
    if (target != cObject::OBJ_IO_STATE_UNKNOWN)
        output->setOutputState(target);
    output->setPortToggled(cObjectPort::PORT_TOGGLED_IODRIVER);
    if (mObjectClient != nullptr)
        (void)mObjectClient->set(output); // the next refresh repairs a lost write
    info("Setting %s, state: %s", label, target == cObject::OBJ_IO_STATE_SET ? "SET" : "CLEAR");
}
