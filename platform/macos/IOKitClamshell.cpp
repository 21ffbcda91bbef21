#include "platform/macos/IOKitClamshell.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/pwr_mgt/IOPM.h>

#include "platform/macos/CFReference.h"
#include "platform/macos/IOKitObject.h"

namespace kelo {

namespace {

ClamshellProperty numberProperty(CFTypeRef number) {
    double value = 0;
    if (!CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberDoubleType, &value))
        return UnconvertibleProperty{};
    return value;
}

/// `property` must not be null.
ClamshellProperty convert(CFTypeRef property) {
    const CFTypeID type = CFGetTypeID(property);
    if (type == CFBooleanGetTypeID())
        return CFBooleanGetValue(static_cast<CFBooleanRef>(property)) != 0;
    if (type == CFNumberGetTypeID())
        return numberProperty(property);
    return UnconvertibleProperty{};
}

} // namespace

ClamshellProperty IOKitClamshell::clamshellState() {
    const auto rootDomain = IOKitObject::matchingService("IOPMrootDomain");
    if (!rootDomain)
        return {};
    const CFReference<CFTypeRef> property(
        IORegistryEntryCreateCFProperty(rootDomain.get(), CFSTR(kAppleClamshellStateKey), kCFAllocatorDefault, 0));
    if (!property)
        return {};
    return convert(property.get());
}

} // namespace kelo
