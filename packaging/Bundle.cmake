# The directory that becomes an MCP bundle; scripts/package installs this component alone and packs it.

set(manifest "${CMAKE_CURRENT_SOURCE_DIR}/mcpb/manifest.json")
if(APPLE)
    file(READ "${manifest}" text)
    string(JSON text SET "${text}" compatibility platforms 0 "\"darwin\"")
    set(manifest "${CMAKE_CURRENT_BINARY_DIR}/manifest.json")
    file(WRITE "${manifest}" "${text}")
endif()

install(TARGETS BrellinMCP RUNTIME DESTINATION server COMPONENT bundle EXCLUDE_FROM_ALL)
install(FILES "${manifest}" debian/copyright DESTINATION . COMPONENT bundle EXCLUDE_FROM_ALL)
