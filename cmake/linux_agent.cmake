# The agent of Linux hosts.
find_package(PkgConfig REQUIRED)
pkg_check_modules(libmnl REQUIRED IMPORTED_TARGET libmnl)
pkg_check_modules(libkmod REQUIRED IMPORTED_TARGET libkmod)
pkg_check_modules(libpci REQUIRED IMPORTED_TARGET libpci)

# The host model that answers from the kernel.
add_library(zmagent_kernel STATIC
    linux_agent/ethtool.cpp
    linux_agent/interfaces.cpp
    linux_agent/kernel_host.cpp
    linux_agent/modules.cpp
    linux_agent/netlink.cpp
    linux_agent/port_change.cpp
    linux_agent/ports.cpp
    linux_agent/properties.cpp)
target_link_libraries(zmagent_kernel
    PUBLIC zwmgmt_agent PkgConfig::libmnl
    PRIVATE PkgConfig::libkmod PkgConfig::libpci)
