#include "client/HelperConnection.h"
#include "platform/macos/SecuritySigningInformation.h"
#include "platform/macos/XPCHelperConnection.h"
#include "protocol/KeloHelper.h"
#include "protocol/SigningIdentity.h"

namespace kelo {

std::unique_ptr<HelperConnection> connectToHelper() {
    SecuritySigningInformation signature;
    const auto team = SigningIdentity::ownTeamID(signature);
    if (!team)
        throw HelperUnreachable("This program isn't signed, so the helper would refuse it.");
    return makeXPCHelperConnection(KeloHelper::machServiceName,
                                   SigningIdentity::requirement(SigningIdentity::helperIdentifier, *team));
}

} // namespace kelo
