# The files that keep the recorder running. They name the executable by its full path, and the prefix may be
# chosen as late as at installation, so they are made then.

function(havrick_install_service file escaping destination component)
    install(CODE "
        set(template \"${CMAKE_CURRENT_SOURCE_DIR}/${file}.in\")
        set(file \"${CMAKE_CURRENT_BINARY_DIR}/${file}\")
        set(escaping ${escaping})
        set(bin_directory \"${CMAKE_INSTALL_BINDIR}\")
        set(destination \"${destination}\")
        include(\"${CMAKE_CURRENT_SOURCE_DIR}/InstallService.cmake\")" COMPONENT ${component})
endfunction()

havrick_install_service(havrick-record.service systemd lib/systemd/user programs)
havrick_install_service(org.brellin.havrick-record.plist xml "${CMAKE_INSTALL_DATADIR}/havrick" launchd)
