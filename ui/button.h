// A push button: a window object with nothing of its own.
#pragma once

#include "ui/base_window.h"

class Button : public BaseWindow {};
