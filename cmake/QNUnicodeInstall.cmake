# What `cmake --install` puts under the prefix, and nothing else:
#   include/qnunicode/...                   the public headers listed below
#   lib/libqnunicode.a or .so.*             the library, of the kind BUILD_SHARED_LIBS chose
#   lib/cmake/QNUnicode/                    the package for find_package(QNUnicode)
#   lib/pkgconfig/qnunicode.pc              relocatable: every path derives from ${pcfiledir}
#   share/qnunicode/                        resources/ (descriptions, information file, ...)
#   share/qnunicode/ucd/                    the UCD files the library reads, listed below
#
# To publish a new header, add its path (relative to qnunicode/) to QNUNICODE_PUBLIC_HEADERS; to
# ship a new data file or prepared directory of the build's UCD directory, add it to
# QNUNICODE_INSTALLED_UCD_FILES or QNUNICODE_INSTALLED_UCD_DIRECTORIES; a prepared directory
# that lives elsewhere in the build tree goes into QNUNICODE_INSTALLED_DATA_DIRECTORIES as
# "SOURCE_DIRECTORY=NAME_UNDER_share/qnunicode". Everything else stays private to the build.

# The headers a host includes: QNUnicode.h and everything it includes. A header that a public
# header includes must be public too; configuring checks that the list is closed that way.
set(QNUNICODE_PUBLIC_HEADERS
  QNUnicode.h
  database/QNUnicodeDatabase.h
  escapes/QNUnicodeEscapes.h
  escapes/QNXHTMLDatabase.h
  idna/QNUnicodeDomainLabels.h
  idna/QNUnicodeIDNA2008.h
  idna/QNUnicodePunycode.h
  idna/QNUnicodeStringprepProcessor.h
  names/QNUnicodeNameLookup.h
  names/QNUnicodeNamesList.h
  properties/QNUnicodeArabicShaping.h
  properties/QNUnicodeBlockTable.h
  properties/QNUnicodeCaseFolding.h
  properties/QNUnicodeIntervalIndex.h
  properties/QNUnicodeLineBreak.h
  properties/QNUnicodePropertyMatching.h
  properties/QNUnicodePropertyTable.h
  properties/QNUnicodeSpecialCasing.h
  records/QNUnicodeConcreteData.h
  records/QNUnicodeData.h
  records/QNUnicodeDefaultData.h
  records/QNUnicodePointerData.h
  strings/QNTextPrimitives.h
  strings/QNUnicodeCodepoints.h
  strings/UnicodeString.h
  unihan/QNUnicodeUnihan.h
  unihan/QNUnicodeUnihanKeys.h
  unihan/QNUnicodeUnihanTable.h
  util/CodepointSet.h
  util/NotFound.h
  util/QNBlockArena.h
  util/QNDigest.h
  util/QNExceptions.h
  util/QNFileManager.h
  util/QNIndexIterator.h
  util/QNInfoValue.h
  util/QNLog.h
  util/QNMainThread.h
  util/QNNotificationCenter.h
  util/QNResourceDirectory.h
  util/QNScanner.h
  util/QNStringAdditions.h
  util/QNUnicodePrefixTree.h)

# The files of the prepared UCD directory that the library reads (one per file prefix the
# database looks up), and NormalizationTest.txt, which the conformance run of the installed qnu
# reads by default. BidiTest, allkeys and the other UCD files stay behind.
set(QNUNICODE_INSTALLED_UCD_FILES
  ArabicShaping.txt
  Blocks.txt
  CaseFolding.txt
  CompositionExclusions.txt
  DerivedAge.txt
  DerivedCoreProperties.txt
  HangulSyllableType.txt
  Index.txt
  Jamo.txt
  LineBreak.txt
  NamesList.txt
  NormalizationTest.txt
  PropList.txt
  PropertyValueAliases.txt
  Scripts.txt
  SpecialCasing.txt
  UnicodeData.txt)
# Directories of the prepared UCD directory, installed whole.
set(QNUNICODE_INSTALLED_UCD_DIRECTORIES Unihan)
# Other prepared directories of the build tree: "SOURCE=NAME" installs SOURCE as
# share/qnunicode/NAME.
set(QNUNICODE_INSTALLED_DATA_DIRECTORIES "${QNUNICODE_ENTITY_DIR}=entities")

# Fails the configuration when a listed header is missing or includes an unlisted one.
function(qnunicode_check_public_headers)
  foreach(header IN LISTS QNUNICODE_PUBLIC_HEADERS)
    set(path "${PROJECT_SOURCE_DIR}/qnunicode/${header}")
    if(NOT EXISTS "${path}")
      message(FATAL_ERROR "The public header qnunicode/${header} does not exist")
    endif()
    file(STRINGS "${path}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*[\"<]qnunicode/")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE ".*[\"<]qnunicode/([^\">]+)[\">].*" "\\1" included "${line}")
      if(NOT included IN_LIST QNUNICODE_PUBLIC_HEADERS)
        message(FATAL_ERROR "The public header qnunicode/${header} includes qnunicode/${included}, "
                            "which is not in QNUNICODE_PUBLIC_HEADERS (cmake/QNUnicodeInstall.cmake)")
      endif()
    endforeach()
  endforeach()
endfunction()

# Installs the headers, the library, the CMake package, the pkg-config file and the data.
function(qnunicode_install)
  qnunicode_check_public_headers()
  foreach(header IN LISTS QNUNICODE_PUBLIC_HEADERS)
    get_filename_component(folder "${header}" DIRECTORY)
    install(FILES "${PROJECT_SOURCE_DIR}/qnunicode/${header}"
            DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/qnunicode/${folder}")
  endforeach()

  install(TARGETS qnunicode EXPORT QNUnicodeTargets
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
          INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/QNUnicode")
  install(EXPORT QNUnicodeTargets NAMESPACE QNUnicode:: DESTINATION "${package_dir}")
  set(QNUNICODE_UCD_INSTALL_DIR "${CMAKE_INSTALL_DATADIR}/qnunicode/ucd")
  set(QNUNICODE_RESOURCE_INSTALL_DIR "${CMAKE_INSTALL_DATADIR}/qnunicode")
  # A static library needs its dependencies at the consumer's link; a shared one does not.
  get_target_property(library_kind qnunicode TYPE)
  if(library_kind STREQUAL "STATIC_LIBRARY")
    set(QNUNICODE_STATIC ON)
  else()
    set(QNUNICODE_STATIC OFF)
  endif()
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/QNUnicodeConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/QNUnicodeConfig.cmake"
    INSTALL_DESTINATION "${package_dir}"
    PATH_VARS QNUNICODE_UCD_INSTALL_DIR QNUNICODE_RESOURCE_INSTALL_DIR)
  write_basic_package_version_file("${PROJECT_BINARY_DIR}/QNUnicodeConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
  install(FILES "${PROJECT_BINARY_DIR}/QNUnicodeConfig.cmake"
                "${PROJECT_BINARY_DIR}/QNUnicodeConfigVersion.cmake"
          DESTINATION "${package_dir}")

  # pkg-config: the prefix is found from the .pc file's own place, so the file stays right for
  # any --prefix given at install time and after the tree is moved. A static library's
  # dependencies are public requirements (a plain --libs must link), a shared one's private.
  set(pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  if(IS_ABSOLUTE "${pc_dir}")
    set(QNUNICODE_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  else()
    file(RELATIVE_PATH relative_prefix "/prefix/${pc_dir}" "/prefix")
    string(REGEX REPLACE "/$" "" relative_prefix "${relative_prefix}")
    set(QNUNICODE_PC_PREFIX "\${pcfiledir}/${relative_prefix}")
  endif()
  foreach(kind LIBDIR INCLUDEDIR DATADIR)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
      set(QNUNICODE_PC_${kind} "${CMAKE_INSTALL_${kind}}")
    else()
      set(QNUNICODE_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
    endif()
  endforeach()
  set(requirements "libcrypto libplist-2.0")
  if(QNUNICODE_WITH_ICU)
    string(APPEND requirements " icu-uc icu-i18n")
  endif()
  if(QNUNICODE_STATIC)
    set(QNUNICODE_PC_REQUIRES "Requires: ${requirements}")
  else()
    set(QNUNICODE_PC_REQUIRES "Requires.private: ${requirements}")
  endif()
  configure_file("${PROJECT_SOURCE_DIR}/cmake/qnunicode.pc.in"
                 "${PROJECT_BINARY_DIR}/qnunicode.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/qnunicode.pc" DESTINATION "${pc_dir}")

  install(DIRECTORY "${PROJECT_SOURCE_DIR}/resources/" DESTINATION "${QNUNICODE_RESOURCE_INSTALL_DIR}")
  list(TRANSFORM QNUNICODE_INSTALLED_UCD_FILES PREPEND "${QNUNICODE_UCD_DIR}/"
       OUTPUT_VARIABLE ucd_files)
  install(FILES ${ucd_files} DESTINATION "${QNUNICODE_UCD_INSTALL_DIR}")
  foreach(directory IN LISTS QNUNICODE_INSTALLED_UCD_DIRECTORIES)
    install(DIRECTORY "${QNUNICODE_UCD_DIR}/${directory}" DESTINATION "${QNUNICODE_UCD_INSTALL_DIR}")
  endforeach()
  foreach(entry IN LISTS QNUNICODE_INSTALLED_DATA_DIRECTORIES)
    string(REGEX MATCH "^(.*)=([^=]+)$" matched "${entry}")
    if(NOT matched)
      message(FATAL_ERROR "QNUNICODE_INSTALLED_DATA_DIRECTORIES: '${entry}' is not SOURCE=NAME")
    endif()
    install(DIRECTORY "${CMAKE_MATCH_1}/"
            DESTINATION "${QNUNICODE_RESOURCE_INSTALL_DIR}/${CMAKE_MATCH_2}")
  endforeach()
endfunction()
