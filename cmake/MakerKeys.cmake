# The public keys with which the maker signs releases, as whoever configures the build gives them. The
# sources read them in base/Product.h.
set(TALLYWICK_MAKER_KEYS "" CACHE STRING
  "At most two Ed25519 public keys, 64 lower-case hexadecimal digits each: a downloaded release must be signed with one")

set(TALLYWICK_MAKER_KEY_TEXTS "")
list(LENGTH TALLYWICK_MAKER_KEYS TALLYWICK_MAKER_KEY_COUNT)
if(TALLYWICK_MAKER_KEY_COUNT GREATER 2)
  message(FATAL_ERROR "TALLYWICK_MAKER_KEYS has more than two keys")
endif()
foreach(key IN LISTS TALLYWICK_MAKER_KEYS)
  string(LENGTH "${key}" digits)
  if(NOT digits EQUAL 64 OR NOT key MATCHES "^[0-9a-f]+$")
    message(FATAL_ERROR "TALLYWICK_MAKER_KEYS: \"${key}\" is no public key")
  endif()
  string(APPEND TALLYWICK_MAKER_KEY_TEXTS "\n    \"${key}\",")
endforeach()
