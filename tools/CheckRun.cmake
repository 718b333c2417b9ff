# Runs the quorb command given after "--" and checks what it did:
#   QUORB          the program
#   EXPECT_EXIT    0, or "nonzero" for any failure status
#   EXPECT_STDOUT  regular expressions that must all match its standard output
#   EXPECT_STDERR  regular expressions that must all match its standard error
#   REJECT_STDOUT  a regular expression that must not match its standard output
#   NO_STDERR      when on, its standard error must be empty
set(args)
set(after_separator OFF)
foreach(i RANGE ${CMAKE_ARGC})
  if(after_separator AND DEFINED CMAKE_ARGV${i})
    list(APPEND args "${CMAKE_ARGV${i}}")
  elseif("${CMAKE_ARGV${i}}" STREQUAL "--")
    set(after_separator ON)
  endif()
endforeach()

execute_process(COMMAND ${QUORB} ${args}
  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
message("quorb ${args}\n--- exit status ${status}\n--- stdout\n${out}--- stderr\n${err}---")

set(failures)
if(EXPECT_EXIT STREQUAL "nonzero")
  if(status STREQUAL "0")
    list(APPEND failures "exit status 0, expected a failure")
  endif()
elseif(NOT status STREQUAL EXPECT_EXIT)
  list(APPEND failures "exit status ${status}, expected ${EXPECT_EXIT}")
endif()
foreach(pattern IN LISTS EXPECT_STDOUT)
  if(NOT out MATCHES "${pattern}")
    list(APPEND failures "stdout does not match '${pattern}'")
  endif()
endforeach()
foreach(pattern IN LISTS EXPECT_STDERR)
  if(NOT err MATCHES "${pattern}")
    list(APPEND failures "stderr does not match '${pattern}'")
  endif()
endforeach()
if(DEFINED REJECT_STDOUT AND out MATCHES "${REJECT_STDOUT}")
  list(APPEND failures "stdout matches '${REJECT_STDOUT}'")
endif()
if(NO_STDERR AND NOT err STREQUAL "")
  list(APPEND failures "stderr is not empty")
endif()

if(failures)
  list(JOIN failures "\n  " text)
  message(FATAL_ERROR "quorb did not do what was expected:\n  ${text}")
endif()
