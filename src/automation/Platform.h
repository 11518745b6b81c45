#pragma once
// The platform's headers that need each other in this order.

#include <windows.h>

#include <ole2.h>
#include <oleauto.h>
