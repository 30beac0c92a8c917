# Compiles the web viewer's files (web/*) into the library. The generated source lives in the
# build tree and is regenerated whenever one of the files (or the generator script) changes, so
# the page and scripts stay ordinary, editable files under web/.
file(GLOB ZARN_WEB_FILES CONFIGURE_DEPENDS LIST_DIRECTORIES false ${PROJECT_SOURCE_DIR}/web/*)
list(SORT ZARN_WEB_FILES)
set(ZARN_WEB_SOURCE ${PROJECT_BINARY_DIR}/generated/embeddedWebFiles.cpp)
add_custom_command(
  OUTPUT ${ZARN_WEB_SOURCE}
  COMMAND ${CMAKE_COMMAND} -DWEB_DIR=${PROJECT_SOURCE_DIR}/web -DOUTPUT=${ZARN_WEB_SOURCE}
          -P ${CMAKE_CURRENT_LIST_DIR}/GenerateWebFilesSource.cmake
  DEPENDS ${ZARN_WEB_FILES} ${CMAKE_CURRENT_LIST_DIR}/GenerateWebFilesSource.cmake
  COMMENT "Embedding the web viewer files"
  VERBATIM)
set(ZARN_GENERATED_SOURCES ${ZARN_WEB_SOURCE})
