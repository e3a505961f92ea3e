# UTF-8 sample -> UCS-2 -> UTF-8 with the C example; the UCS-2 form must equal
# Python's UTF-16LE encoding (both target machines are little-endian) and the
# round trip must give the sample back.
set(ucs2 ${WORK}/sample.ucs2)
set(back ${WORK}/sample.back)
execute_process(COMMAND ${EMULATOR} ${CONVERT} UTF-8 ISO-10646-UCS-2 ${SAMPLE}
                OUTPUT_FILE ${ucs2} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "UTF-8 -> UCS-2 failed: ${rc}")
endif()
execute_process(COMMAND python3 -c
  "import sys; sys.stdout.buffer.write(open(sys.argv[1],'rb').read().decode('utf-8').encode('utf-16-le'))"
  ${SAMPLE} OUTPUT_FILE ${WORK}/sample.expected RESULT_VARIABLE rc)
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${ucs2} ${WORK}/sample.expected RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "UCS-2 output differs from Python's UTF-16LE")
endif()
execute_process(COMMAND ${EMULATOR} ${CONVERT} ISO-10646-UCS-2 UTF-8 ${ucs2}
                OUTPUT_FILE ${back} RESULT_VARIABLE rc)
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${back} ${SAMPLE} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "round trip did not give the sample back")
endif()
