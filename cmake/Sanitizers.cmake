# Sanitizer builds: 'address' runs AddressSanitizer (with LeakSanitizer) and
# UBSan together; 'thread' runs ThreadSanitizer. Both abort on the first report
# so that a test run fails instead of printing and passing.
if(QUORB_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
elseif(QUORB_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
  add_compile_definitions(QUORB_TSAN=1)
elseif(NOT QUORB_SANITIZE STREQUAL "")
  message(FATAL_ERROR "QUORB_SANITIZE must be empty, 'address' or 'thread'")
endif()
