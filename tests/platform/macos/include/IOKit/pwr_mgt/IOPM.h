#pragma once

#define kAppleClamshellStateKey "AppleClamshellState" // V xnu, iokit/IOKit/pwr_mgt/IOPM.h
