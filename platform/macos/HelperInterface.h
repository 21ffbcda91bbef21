#pragma once

#import <Foundation/Foundation.h>

namespace kelo {

/// Used by both ends of a connection.
NSXPCInterface* helperInterface();

} // namespace kelo
