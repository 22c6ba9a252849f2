# Installs the service, with the paths of where everything is being installed to. `service_source`,
# `service_build` and `bindir` are set before.

set(prefix ${CMAKE_INSTALL_PREFIX})
cmake_path(ABSOLUTE_PATH bindir BASE_DIRECTORY ${prefix})
if(prefix STREQUAL "/usr")
    set(sysconfdir /etc)
else()
    set(sysconfdir ${prefix}/etc)
endif()

configure_file(${service_source}/localstorage-record.service.in
    ${service_build}/localstorage-record.service @ONLY)
file(INSTALL ${service_build}/localstorage-record.service DESTINATION ${prefix}/lib/systemd/system)
file(INSTALL ${service_source}/sysusers.conf DESTINATION ${prefix}/lib/sysusers.d
    RENAME localstorage.conf)
file(INSTALL ${service_source}/record.toml DESTINATION ${prefix}/share/doc/localstorage)
# The operator's own file stays as it is.
if(NOT EXISTS $ENV{DESTDIR}${sysconfdir}/localstorage/record.toml)
    file(INSTALL ${service_source}/record.toml DESTINATION ${sysconfdir}/localstorage)
endif()
