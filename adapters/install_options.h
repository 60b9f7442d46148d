/// What the options of "system install" ask for.
#pragma once

#include <cstdint>

struct Client_Request_Message;
class ZwMgmt_interface;

namespace zwmgmt {

/// Bits of the driver type mask that the library itself looks at.
enum DriverType : uint32_t {
    kTypeNic = 0x1,
    kTypeVnic = 0x2,
    kTypeToe = 0x4,
    kTypeIscsi = 0x40,
    kTypeOfed = 0x200,
    kTypeAll = 0x1000000,
    kTypeNd = 0x1000,
};

struct InstallOptions {
    uint32_t type_mask = 0;
    bool all_taken = false;  // no key was refused: type_mask is whole
    int path_count = 0;      // packages given
    int generation = 0;      // 0: X3 driver or iSCSI package; 1: X4 driver or Zwire package
    bool x3_path_given = false;
    const char* ofed_package = nullptr;  // the request's text
    int conf_type = -1;                  // -1: none
};

enum class Validity {
    kValid,
    kRefused,         // and said why
    kRefusedQuietly,  // a package for the types is missing
};

/// Whether a key's value is a file to push.
bool IsPackage(int key);

/// Checks the keys in their order; what has been found out by then is in *options also when they
/// are refused.
Validity Validate(ZwMgmt_interface& session, const Client_Request_Message* request,
                  InstallOptions* options);

}  // namespace zwmgmt
