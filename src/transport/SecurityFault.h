#pragma once
// Why the system's client will not speak to a server over TLS, in words.

#include <windows.h>
#include <wininet.h>

namespace vtdl {

/// What is wrong with "the host's ..."; empty for an error that is not of the kind.
inline const char* SecurityFault(DWORD error) noexcept {
    switch (error) {
        case ERROR_INTERNET_SEC_CERT_DATE_INVALID:
            return "certificate has expired, or is not valid yet";
        case ERROR_INTERNET_SEC_CERT_CN_INVALID:
            return "certificate is for another name";
        case ERROR_INTERNET_INVALID_CA:
            return "certificate is from nobody that this machine trusts";
        case ERROR_INTERNET_SEC_CERT_ERRORS:
        case ERROR_INTERNET_SEC_CERT_NO_REV:
        case ERROR_INTERNET_SEC_CERT_REV_FAILED:
        case ERROR_INTERNET_SEC_CERT_REVOKED:
        case ERROR_INTERNET_SEC_INVALID_CERT:
            return "certificate does not hold";
        case ERROR_INTERNET_SECURITY_CHANNEL_ERROR:
            return "port speaks no TLS that this machine does";
        default:
            return "";
    }
}

}  // namespace vtdl
