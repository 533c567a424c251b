// Typed reads and writes of schema parameters (host platform only).
#ifndef DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGACCESS_H_
#define DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGACCESS_H_

#include <string>

#include "platform/host/config/ConfigSchema.h"

namespace dmcfg {

// Hands out a copy of `text` from the calling thread's ring of 16 buffers
// (valid for the next 15 calls on the thread).
const char* KeepString(const std::string& text);

// Reads a path as stored, or its schema default; VM_CFG_* result.
int ReadValue(const std::string& path, std::string* value);

const char* GetString(const vmCfgParam& param, int index);  // null on failure
int SetString(const vmCfgParam& param, int index, const char* value);
int GetInt(const vmCfgParam& param, int index);  // the default on failure
int SetInt(const vmCfgParam& param, int index, int value);

// Reads a schema parameter by path: the text form, "" on failure.
std::string GetText(const char* path);
int GetNumber(const char* path);

}  // namespace dmcfg

#endif  // DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGACCESS_H_
