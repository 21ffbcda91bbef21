#pragma once

#import <Foundation/Foundation.h>

namespace kelo {

/// The interface that both ends of a connection use.
NSXPCInterface* helperInterface();

} // namespace kelo
