// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

// Tells the service manager that started us, if it wants to know (NOTIFY_SOCKET), a state such as
// "READY=1".
void NotifyServiceManager(std::string_view state);
