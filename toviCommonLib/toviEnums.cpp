#include "toviCommonLib/toviEnums.h"

namespace tovi::utils
{

const char *enumToString(eSocketError error)
{
    switch (error)
    {
    case eSocketError::none: return "none";
    case eSocketError::denied: return "denied";
    case eSocketError::unsupported: return "unsupported";
    case eSocketError::tooMany: return "tooMany";
    case eSocketError::noMem: return "noMem";
    case eSocketError::addressInUse: return "addressInUse";
    case eSocketError::addressProtected: return "addressProtected";
    case eSocketError::alreadyBound: return "alreadyBound";
    case eSocketError::invalidDescriptor: return "invalidDescriptor";
    case eSocketError::errorSettingReadTimeout: return "errorSettingReadTimeout";
    case eSocketError::errorSettingWriteTimeout: return "errorSettingWriteTimeout";
    case eSocketError::errorListening: return "errorListening";
    case eSocketError::no_such_host: return "no_such_host";
    case eSocketError::connRefused: return "connRefused";
    case eSocketError::timedOut: return "timedOut";
    case eSocketError::invalidParameter: return "invalidParameter";
    case eSocketError::unable_to_handshake: return "unable_to_handshake";
    case eSocketError::unknown: return "unknown";
    }
    return "invalid value";
}

} // namespace tovi::utils
