#pragma once

#include <memory>
#include <string>

namespace kelo {

class TrustAnchor;

/// The trust anchor in an installation's folder: whoever can put a file there decides whom to trust.
///
/// So it counts only when nobody can except root and the effective user of the process: folder and file belong to one
/// of the two, and nobody else may write to them. It is checked and read once, when the object is made: later changes
/// have no effect.
///
/// Copies share what was read. Any thread.
class InstalledAnchor {
public:
    /// `folder` is an open one, O_PATH is enough; -1 when there is none. `name` is that of a file in it, PEM.
    InstalledAnchor(int folder, const std::string& name);

    /// Throws `SignatureRefused`, every time, when the anchor is not trusted; its text says why.
    const TrustAnchor& get() const;

private:
    std::shared_ptr<const TrustAnchor> anchor_;
    std::string refusal_; ///< Why there is no anchor.
};

} // namespace kelo
