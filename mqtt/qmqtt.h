#pragma once

// The one header that users of the library include.

#include "mqtt/client.h"
#include "mqtt/message.h"
