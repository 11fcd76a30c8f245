# Anything else that is exported could be bound to another module's copy, and unique symbols would keep this one loaded.
execute_process(COMMAND ${NM} -D --defined-only ${MODULE} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "[0-9a-f]+ " "" symbols "${symbols}")
if(NOT symbols STREQUAL "T create\nT destroy\n")
  message(FATAL_ERROR "exported:\n${symbols}")
endif()
