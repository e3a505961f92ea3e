# The dynamic symbol table of the library is exactly its public interface:
# every name that the public headers declare with NLS_EXPORT is exported
# under its plain C name, and every exported symbol belongs to a name that the
# public headers declare (a C function or table, or a class or namespace of
# the converter-library headers).
execute_process(COMMAND nm -D --defined-only ${LIBRARY} OUTPUT_VARIABLE symbols RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
file(GLOB_RECURSE headers ${INCLUDE_DIR}/*.h)
set(header "")
foreach(h ${headers})
  file(READ ${h} text)
  string(APPEND header "${text}\n")
endforeach()

execute_process(COMMAND nm -D --defined-only -C ${LIBRARY} OUTPUT_VARIABLE demangled)
string(REGEX MATCHALL "NLS_EXPORT[^;(]*[ *]([A-Za-z_][A-Za-z0-9_]*)[[(]" declarations "${header}")
set(count 0)
foreach(declaration ${declarations})
  string(REGEX REPLACE ".*[ *]([A-Za-z_][A-Za-z0-9_]*)[[(]$" "\\1" name "${declaration}")
  if(name STREQUAL "__attribute__")
    continue()
  endif()
  math(EXPR count "${count} + 1")
  # C names appear plain; C++ functions (namespace members) demangled.
  if(NOT symbols MATCHES "[ \n]${name}\n" AND NOT demangled MATCHES "[ :]${name}\\(")
    message(SEND_ERROR "not exported: ${name}")
  endif()
endforeach()
if(count LESS 50)
  message(FATAL_ERROR "only ${count} declarations found in the headers")
endif()

# The other way round: demangle every exported symbol and look up its
# outermost name among the words of the public headers.
string(REPLACE "\n" ";" lines "${demangled}")
set(exported 0)
foreach(line ${lines})
  string(REGEX REPLACE "^[0-9a-f]+ [A-Za-z] " "" symbol "${line}")
  if(symbol STREQUAL "")
    continue()
  endif()
  string(REGEX REPLACE "^(typeinfo name for|typeinfo for|vtable for|VTT for) " "" symbol "${symbol}")
  string(REGEX MATCH "^[A-Za-z_][A-Za-z0-9_]*" outer "${symbol}")
  math(EXPR exported "${exported} + 1")
  if(outer STREQUAL "" OR NOT header MATCHES "[^A-Za-z0-9_]${outer}[^A-Za-z0-9_]")
    message(SEND_ERROR "exported but not in the public headers: ${symbol}")
  endif()
endforeach()
message(STATUS "${count} declared names checked, ${exported} exported symbols checked")
