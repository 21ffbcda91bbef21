#pragma once

#include <mach/mach.h>
