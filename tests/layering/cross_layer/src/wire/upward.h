#pragma once
#include "session/session.h"
