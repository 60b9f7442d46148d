# The agent of Linux hosts.
find_package(PkgConfig REQUIRED)
pkg_check_modules(libmnl REQUIRED IMPORTED_TARGET libmnl)
pkg_check_modules(libkmod REQUIRED IMPORTED_TARGET libkmod)
pkg_check_modules(libpci REQUIRED IMPORTED_TARGET libpci)

# The host model that answers from the kernel.
add_library(zmagent_kernel STATIC
    linux_agent/ethtool.cpp
    linux_agent/filters.cpp
    linux_agent/interfaces.cpp
    linux_agent/kernel_host.cpp
    linux_agent/modules.cpp
    linux_agent/netlink.cpp
    linux_agent/own_path.cpp
    linux_agent/packet_rules.cpp
    linux_agent/port_change.cpp
    linux_agent/ports.cpp
    linux_agent/properties.cpp
    linux_agent/receive_rules.cpp
    linux_agent/traffic_filters.cpp)
target_link_libraries(zmagent_kernel
    PUBLIC zwmgmt_agent PkgConfig::libmnl
    PRIVATE PkgConfig::libkmod PkgConfig::libpci)

# The daemon around it.
find_package(tomlplusplus REQUIRED)
pkg_check_modules(libseccomp REQUIRED IMPORTED_TARGET libseccomp)
pkg_check_modules(libsystemd REQUIRED IMPORTED_TARGET libsystemd)
pkg_check_modules(pam REQUIRED IMPORTED_TARGET pam)

add_library(zmagent STATIC
    linux_agent/audit.cpp
    linux_agent/cage.cpp
    linux_agent/certificates.cpp
    linux_agent/channel.cpp
    linux_agent/client_service.cpp
    linux_agent/config.cpp
    linux_agent/confirmations.cpp
    linux_agent/hook.cpp
    linux_agent/installer.cpp
    linux_agent/keeper.cpp
    linux_agent/login.cpp
    linux_agent/network_half.cpp
    linux_agent/probes.cpp
    linux_agent/program.cpp
    linux_agent/spool.cpp
    linux_agent/supervisor.cpp
    linux_agent/trusted_path.cpp)
target_link_libraries(zmagent
    PUBLIC zwmgmt_agent zwmgmt_platform_programs
    PRIVATE PkgConfig::libseccomp PkgConfig::libsystemd PkgConfig::pam tomlplusplus::tomlplusplus)

add_executable(korvane_zmagent linux_agent/main.cpp)
target_link_libraries(korvane_zmagent PRIVATE zmagent zmagent_kernel CLI11::CLI11)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME agent)
configure_file(contrib/systemd/korvane-zmagent.service.in
    ${PROJECT_BINARY_DIR}/korvane-zmagent.service @ONLY)
install(TARGETS korvane_zmagent RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
set(ZWMGMT_SYSTEMD_UNITS lib/systemd/system CACHE STRING "Where units of systemd are installed")
install(FILES ${PROJECT_BINARY_DIR}/korvane-zmagent.service
              contrib/systemd/korvane-zmagent.socket DESTINATION ${ZWMGMT_SYSTEMD_UNITS})
install(FILES contrib/systemd/korvane-zmagent-drivers.conf
              contrib/systemd/korvane-zmagent-packages.conf docs/agent.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES contrib/systemd/korvane-zmagent.sysusers DESTINATION lib/sysusers.d
    RENAME korvane-zmagent.conf)
install(FILES contrib/pam/korvane-zmagent DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/pam.d)
