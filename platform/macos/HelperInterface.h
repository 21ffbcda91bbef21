#pragma once

#import <Foundation/Foundation.h>

namespace kelo {

/// The interface of the helper's five requests, for either end of a connection.
NSXPCInterface* helperInterface();

} // namespace kelo
