# Packages of npm, installed in the build directory.
find_program(NODE_EXECUTABLE node)
find_program(NPM_EXECUTABLE npm)
mark_as_advanced(NODE_EXECUTABLE NPM_EXECUTABLE)
set(NPM_FOUND FALSE)
if(NODE_EXECUTABLE AND NPM_EXECUTABLE)
  set(NPM_FOUND TRUE)
endif()

# The packages of this directory's package-lock.json, in node_modules of its build directory. `result` becomes the file
# to depend on. No script of a package is run.
function(npm_packages result)
  set(installed ${CMAKE_CURRENT_BINARY_DIR}/npm_packages)
  add_custom_command(
    OUTPUT ${installed}
    COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_CURRENT_SOURCE_DIR}/package.json
            ${CMAKE_CURRENT_SOURCE_DIR}/package-lock.json ${CMAKE_CURRENT_BINARY_DIR}
    COMMAND ${NPM_EXECUTABLE} ci --ignore-scripts --no-audit --no-fund --loglevel=error
    COMMAND ${CMAKE_COMMAND} -E touch ${installed}
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
    DEPENDS package.json package-lock.json
    COMMENT "Installing packages of npm in ${CMAKE_CURRENT_BINARY_DIR}"
    VERBATIM)
  set(${result} ${installed} PARENT_SCOPE)
endfunction()
