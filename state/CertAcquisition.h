// Reporting the outcome of a certificate acquisition (by enrolment or by
// provisioning) and checking that the device certificate chains up to the
// local root.
//
// An attempt is reported three ways: an alarm when it fails (cleared by the
// caller once a later attempt works), an event when it succeeds, and the
// system-state record of the method. The chain check reads a certificate
// directory:
//   dir/device.crt   the device certificate
//   dir/CAROOT.crt   the root CA certificate
//   dir/CAcerts/     intermediate CA certificates, one per file, any names
// It follows issuer names only (no signature is checked), through a map from
// each intermediate's subject to its issuer.
//
// check_local_cert_chain is a plain C entry point, declared in
// SCEPEnrollUtility.h; the rest is C++. Every log line carries the unit
// "SCEPEnrollUtility".
#ifndef DEVMGMT_STATE_CERTACQUISITION_H_
#define DEVMGMT_STATE_CERTACQUISITION_H_

#include <map>
#include <string>

#include "platform/DmExport.h"
#include "state/SCEPEnrollUtility.h"

// The alarm raised on a failed attempt and the event added on a successful
// one; both carry the source component cert + "/" + source.
#define CERT_FAIL_ALERT_NAME "Device fails to get certificate"
#define CERT_SUCCESS_EVENT_NAME "Device acquired a new certificate"

// Writes the system state of the method: source "Provisioning" writes
// "status/system/state/get_certificate_by_HTTP", "SCEP" writes
// "status/system/state/get_certificate_by_SCEP" (where a "done" "success"
// whose info mentions "CA" is stored as "running": the CA certificates come
// before the device's own). The write's result, or -1 for any other source
// (nothing written).
DM_EXPORT int SetCrtDownloadSystemState(const std::string& source, std::string status, std::string result,
                                        std::string info);

// Clears (severity 0) the failure alarm of cert + "/" + source.
DM_EXPORT void ClearGetCertFailAlert(std::string cert, std::string source);
// Raises the failure alarm (severity 4, the reason in its description) and
// records the state (source, "done", "failed", reason).
DM_EXPORT void SendGetCertFailAlert(std::string cert, std::string source, std::string reason);
// Adds the success event and records the state (source, "done", "success",
// info).
DM_EXPORT void SendGetCertSuccessEvent(std::string cert, std::string source, std::string addInfo, std::string info);

// Sets map[subject] = issuer (one-line texts, at most 255 characters) for the
// certificate in `path`; a file that is not a certificate is skipped.
DM_EXPORT void addCertificateToMap(const char* path, std::map<std::string, std::string>& map);
// Adds every non-directory entry of `dir` (which ends in '/'). 1 when the
// directory was read, 0 when `dir` is empty or can't be opened.
DM_EXPORT int initCaSubjIssuerMap(std::map<std::string, std::string>& map, const char* dir);

#endif  // DEVMGMT_STATE_CERTACQUISITION_H_
