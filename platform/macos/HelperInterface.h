#pragma once

#import <Foundation/Foundation.h>

namespace kelo {

/// For either end of a connection.
NSXPCInterface* helperInterface();

} // namespace kelo
