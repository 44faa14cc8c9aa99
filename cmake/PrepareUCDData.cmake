# Fills DEST_DIR from SOURCE_DIR: every plain .txt file is copied, NormalizationTest.txt is
# unpacked beside them and the Unihan files are unpacked into DEST_DIR/Unihan, which the file
# lookup finds under the prefix "Unihan".
if(NOT SOURCE_DIR OR NOT DEST_DIR)
  message(FATAL_ERROR "PrepareUCDData.cmake needs SOURCE_DIR and DEST_DIR")
endif()
if(NOT EXISTS "${SOURCE_DIR}/UnicodeData.txt")
  message(FATAL_ERROR "No UCD in ${SOURCE_DIR}: install Debian's unicode-data package")
endif()
find_program(BUNZIP2 bunzip2 REQUIRED)

file(MAKE_DIRECTORY "${DEST_DIR}" "${DEST_DIR}/Unihan")
file(GLOB plain_files "${SOURCE_DIR}/*.txt")
file(COPY ${plain_files} DESTINATION "${DEST_DIR}")

function(unpack archive destination)
  execute_process(COMMAND ${BUNZIP2} -c "${archive}" OUTPUT_FILE "${destination}" RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "Could not unpack ${archive}")
  endif()
endfunction()

unpack("${SOURCE_DIR}/NormalizationTest.txt.bz2" "${DEST_DIR}/NormalizationTest.txt")
file(GLOB unihan_archives "${SOURCE_DIR}/Unihan_*.txt.bz2")
list(LENGTH unihan_archives unihan_count)
if(NOT unihan_count EQUAL 8)
  message(FATAL_ERROR "Expected 8 Unihan archives in ${SOURCE_DIR}, found ${unihan_count}")
endif()
foreach(archive IN LISTS unihan_archives)
  get_filename_component(name "${archive}" NAME)
  string(REGEX REPLACE "\\.bz2$" "" name "${name}")
  unpack("${archive}" "${DEST_DIR}/Unihan/${name}")
endforeach()
file(TOUCH "${DEST_DIR}/.prepared")
