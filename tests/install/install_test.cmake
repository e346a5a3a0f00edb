# Installs the build into a fresh folder and builds a small host against what lies there, found once by
# find_package and once by pkg-config.  Variables: BUILD, C, CXX, GENERATOR, CONSUMER, and in a cross
# build TOOLCHAIN and EMULATOR.
set(stage ${BUILD}/install_test)
file(REMOVE_RECURSE ${stage})

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "${command}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${stage}/usr)
foreach(file LICENSE program.md schemas/beliefs.json examples/chest.net examples/patient.case)
  file(GLOB found ${stage}/usr/share/doc/*/${file})
  if(NOT found)
    message(FATAL_ERROR "${file} is not installed")
  endif()
endforeach()
run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${stage}/build -G ${GENERATOR} -DCMAKE_PREFIX_PATH=${stage}/usr
  -DCMAKE_C_COMPILER=${C} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
run(${CMAKE_COMMAND} --build ${stage}/build)
run(${EMULATOR} ${stage}/build/consumer)

file(GLOB_RECURSE package ${stage}/usr/tarvo.pc)
get_filename_component(folder ${package} DIRECTORY)
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} ${folder})
  run(${PKG_CONFIG} --cflags --libs tarvo)
  separate_arguments(flags UNIX_COMMAND "${output}")
  get_filename_component(library_folder ${folder} DIRECTORY)
  run(${C} -std=c99 -Wall -Wextra -Werror -pedantic ${CONSUMER}/consumer.c -o ${stage}/consumer ${flags}
    -Wl,-rpath,${library_folder})
  run(${EMULATOR} ${stage}/consumer)
endif()
