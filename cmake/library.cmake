# libtrove: the host library and the client API in one library, shared by
# default, as programs outside this tree use them. Included from the top
# CMakeLists.txt after the module's and the host's targets.

option(TROVE_SHARED "Build libtrove as a shared library (OFF: a static libtrove.a)" ON)

# The version header, generated into the build tree and installed beside the
# other public headers.
set(TROVE_GENERATED_INCLUDE ${PROJECT_BINARY_DIR}/include)
configure_file(${CMAKE_CURRENT_LIST_DIR}/version.h.in
               ${TROVE_GENERATED_INCLUDE}/trove/version.h @ONLY)
target_include_directories(trove_messages PUBLIC ${TROVE_GENERATED_INCLUDE})

# Where an installed module lies relative to libtrove's directory, and to a
# program's directory for a static libtrove (bin/ -> lib/trove). Relative
# paths only: nothing of the build tree is compiled in.
set(TROVE_INSTALL_MODULEDIR ${CMAKE_INSTALL_LIBDIR}/trove)
file(RELATIVE_PATH TROVE_MODULEDIR_FROM_BINDIR
     /${CMAKE_INSTALL_BINDIR} /${TROVE_INSTALL_MODULEDIR})
set(TROVE_MODULE_SEARCH_DEFINES
  TROVE_MODULE_SUBDIR="trove" TROVE_MODULE_FROM_BINDIR="${TROVE_MODULEDIR_FROM_BINDIR}")
target_compile_definitions(trove_host PRIVATE ${TROVE_MODULE_SEARCH_DEFINES})

if(TROVE_SHARED)
  set(TROVE_LIBRARY_KIND SHARED)
else()
  set(TROVE_LIBRARY_KIND STATIC)
endif()
# The host needs only the result messages the module shares; they
# are compiled in so that a static libtrove.a stands alone as well.
add_library(trove_library ${TROVE_LIBRARY_KIND}
  ${HOST_SOURCES} ${CLIENT_SOURCES} ${TROVE_SRC}/base/result_messages.cc)
target_include_directories(trove_library
  PUBLIC
    $<BUILD_INTERFACE:${TROVE_INCLUDE}>
    $<BUILD_INTERFACE:${TROVE_GENERATED_INCLUDE}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
  )
target_compile_features(trove_library PUBLIC cxx_std_20)
target_compile_definitions(trove_library PRIVATE ${TROVE_MODULE_SEARCH_DEFINES})
target_link_libraries(trove_library PRIVATE ${CMAKE_DL_LIBS})
if(TROVE_SHARED)
  target_link_options(trove_library PRIVATE -Wl,--no-undefined)
endif()
# Before 1.0 every minor version may change the binary interface, so the
# SONAME carries major and minor: libtrove.so.0.2.
set_target_properties(trove_library PROPERTIES
  OUTPUT_NAME trove EXPORT_NAME trove
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
# Programs in this tree find the module beside libtrove, as installed ones do.
add_dependencies(trove_library trove_registry)

# The names a consumer links against; the same names work inside this tree.
add_library(trove_client_api INTERFACE)
target_link_libraries(trove_client_api INTERFACE trove_library)
set_target_properties(trove_client_api PROPERTIES EXPORT_NAME client)
add_library(trove_host_api INTERFACE)
target_link_libraries(trove_host_api INTERFACE trove_library)
set_target_properties(trove_host_api PROPERTIES EXPORT_NAME host)
add_library(trove::trove ALIAS trove_library)
add_library(trove::client ALIAS trove_client_api)
add_library(trove::host ALIAS trove_host_api)
