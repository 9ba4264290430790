#include "smsSendRequestEvent.h"

smsSendRequestEvent::~smsSendRequestEvent() = default;
