#pragma once

namespace Qfn {

// The proxies of the other coordinators of this host. Until the named pipes exist there are no
// siblings to find, and each scan succeeds at once.
class SiblingCoordinator {
public:
    static bool scanForActiveSiblings() { return true; }
    static bool scanForNamedPipeSiblings() { return true; }
    static bool scanForConfigSiblings() { return true; }
};

}  // namespace Qfn
