# The shipping daemon for the module: tandrel_core + platform/module/ + the module's libraries.

# The module's libraries, one per service group, each with the platform
# headers that declare its calls and its library name (the SDK's names go in
# TANDREL_MODULE_LIB_<group> when they differ).
set(TANDREL_MODULE_GROUPS
  "platform=at_kernel.h,module_info.h,nv_item.h,osa.h,qsp_notify.h,qsp_trace.h,text_convert.h=moduleplatform"
  "gnss=gpsclient.h=gpsclient"
  "update=online_update.h=onlineupdate"
  "ipstack=ipstack.h=ipstack"
  "tts=tts.h=tts"
  "recorder=recorder.h=recorder"
  "loader=xmodem.h=xmodemupg")

set(TANDREL_MODULE_SDK "$ENV{TANDREL_MODULE_SDK}" CACHE PATH
    "Module SDK whose libraries tandrel links against; empty: ABI stand-ins generated from platform/*.h")

find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(sdk_link_options)

# What only the daemon supplies on the module.
add_library(tandrel_module STATIC platform/module/nl_address.cpp)
target_include_directories(tandrel_module PRIVATE include platform)
target_compile_options(tandrel_module PRIVATE ${TANDREL_WARNINGS} -fno-exceptions -fno-rtti)

# The stand-ins and the list of every declared call, generated from the
# headers at build time: the headers are the one place the calls are named.
set(standin_dir ${CMAKE_BINARY_DIR}/module-standins)
set(group_args)
set(standin_sources)
foreach(entry ${TANDREL_MODULE_GROUPS})
  string(REPLACE "=" ";" entry "${entry}")
  list(GET entry 0 group)
  list(GET entry 1 headers)
  list(GET entry 2 libname)
  set(TANDREL_MODULE_LIB_${group} ${libname} CACHE STRING "Name of the module's ${group} library")
  list(APPEND group_args "${group}=${headers}")
  list(APPEND standin_sources ${standin_dir}/${group}.cpp)
endforeach()
file(GLOB platform_headers CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/platform/*.h)
add_custom_command(
  OUTPUT ${standin_sources} ${standin_dir}/platform_symbols.txt
  COMMAND Python3::Interpreter ${CMAKE_SOURCE_DIR}/cmake/module_standins.py
          ${CMAKE_SOURCE_DIR}/platform ${standin_dir} ${group_args}
  DEPENDS ${CMAKE_SOURCE_DIR}/cmake/module_standins.py ${platform_headers}
  COMMENT "Generating the module libraries' ABI stand-ins from platform/*.h")
add_custom_target(tandrel_platform_symbols DEPENDS ${standin_dir}/platform_symbols.txt)

# The module's libraries: the SDK's, or the stand-ins. TANDREL_MODULE_LIB_FILES
# are their files, for the closure check.
set(TANDREL_MODULE_LIBS)
set(TANDREL_MODULE_LIB_FILES)
set(missing)
foreach(entry ${TANDREL_MODULE_GROUPS})
  string(REPLACE "=" ";" entry "${entry}")
  list(GET entry 0 group)
  set(name ${TANDREL_MODULE_LIB_${group}})
  if(TANDREL_MODULE_SDK)
    find_library(TANDREL_MODULE_LIBFILE_${group} NAMES ${name}
                 PATHS ${TANDREL_MODULE_SDK} PATH_SUFFIXES lib usr/lib system/lib
                 NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    if(TANDREL_MODULE_LIBFILE_${group})
      list(APPEND TANDREL_MODULE_LIBS ${TANDREL_MODULE_LIBFILE_${group}})
      list(APPEND TANDREL_MODULE_LIB_FILES ${TANDREL_MODULE_LIBFILE_${group}})
      # The SDK's libraries may need others of the SDK: the linker checks
      # their closure too.
      get_filename_component(dir ${TANDREL_MODULE_LIBFILE_${group}} DIRECTORY)
      list(APPEND sdk_link_options -Wl,-rpath-link,${dir})
    else()
      list(APPEND missing "lib${name}.so: the ${group} library (TANDREL_MODULE_LIB_${group})")
    endif()
  else()
    add_library(standin_${group} SHARED ${standin_dir}/${group}.cpp)
    target_include_directories(standin_${group} PRIVATE include platform)
    target_link_options(standin_${group} PRIVATE -Wl,--no-undefined)
    set_target_properties(standin_${group} PROPERTIES OUTPUT_NAME ${name}
                          LIBRARY_OUTPUT_DIRECTORY ${standin_dir})
    list(APPEND TANDREL_MODULE_LIBS standin_${group})
    list(APPEND TANDREL_MODULE_LIB_FILES $<TARGET_FILE:standin_${group}>)
  endif()
endforeach()
if(missing)
  list(JOIN missing "\n  " missing)
  message(FATAL_ERROR "TANDREL_MODULE_SDK=${TANDREL_MODULE_SDK} lacks the module libraries:\n  ${missing}\n"
          "looked in its lib/, usr/lib/ and system/lib/; name a library differently with "
          "-DTANDREL_MODULE_LIB_<group>=<name>")
endif()

# The daemon as it ships. The C++ runtime goes into the executable: a module
# image has a C library but not necessarily a C++ one. The link map lets the
# closure check see every input.
add_executable(tandrel src/tandrelmain/main.cpp)
target_compile_options(tandrel PRIVATE ${TANDREL_WARNINGS} -fno-exceptions -fno-rtti)
target_link_options(tandrel PRIVATE -Wl,--no-undefined -static-libstdc++ -static-libgcc
                    -Wl,-Map=${CMAKE_BINARY_DIR}/tandrel.map ${sdk_link_options})
target_link_libraries(tandrel PRIVATE tandrel_core tandrel_module ${TANDREL_MODULE_LIBS})
# The module's loader finds its libraries in the image's own places: no
# search path of this build tree goes into the executable.
set_target_properties(tandrel PROPERTIES SKIP_BUILD_RPATH ON)
# The closure check reads the declared calls beside the executable it checks.
add_dependencies(tandrel tandrel_platform_symbols)
