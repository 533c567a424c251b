// Marks the symbols that a shared library of this project exports.
//
// Both libraries build with -fvisibility=hidden, so only what carries DM_EXPORT
// is part of the ABI that device processes link against.
#ifndef DEVMGMT_PLATFORM_DMEXPORT_H_
#define DEVMGMT_PLATFORM_DMEXPORT_H_

#define DM_EXPORT __attribute__((visibility("default")))

#endif  // DEVMGMT_PLATFORM_DMEXPORT_H_
