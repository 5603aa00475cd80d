# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT

# The texts in other languages, compiled and built into the programs that link Clipmule::translations.
# Without Qt's lrelease the programs speak English only.
find_program(LRELEASE lrelease HINTS /usr/lib/qt6/bin /usr/lib64/qt6/bin)
set(translations_folder ${CMAKE_BINARY_DIR}/translations)
set(translations_list "<RCC><qresource prefix=\"/translations\">\n")
foreach(language de ja)
    if(NOT LRELEASE)
        message(WARNING "lrelease is not installed (Debian: qt6-l10n-tools): no translation into ${language}")
        continue()
    endif()
    set(source ${PROJECT_SOURCE_DIR}/resources/translations/clipmule_${language}.ts)
    set(compiled ${translations_folder}/clipmule_${language}.qm)
    add_custom_command(OUTPUT ${compiled} COMMAND ${LRELEASE} -silent ${source} -qm ${compiled}
                       DEPENDS ${source} VERBATIM)
    list(APPEND translations_compiled ${compiled})
    string(APPEND translations_list "<file>clipmule_${language}.qm</file>\n")
endforeach()
string(APPEND translations_list "</qresource></RCC>\n")
file(CONFIGURE OUTPUT ${translations_folder}/translations.qrc CONTENT "${translations_list}" @ONLY)
add_custom_command(OUTPUT ${translations_folder}/translations.cpp
                   COMMAND Qt6::rcc --name translations -o ${translations_folder}/translations.cpp
                           ${translations_folder}/translations.qrc
                   DEPENDS ${translations_folder}/translations.qrc ${translations_compiled} VERBATIM)
# Objects, not an archive: nothing refers to them by name, and a linker would leave them out.
add_library(clipmule_translations OBJECT ${translations_folder}/translations.cpp)
set_target_properties(clipmule_translations PROPERTIES AUTOMOC OFF)
target_link_libraries(clipmule_translations PRIVATE Qt6::Core)
add_library(Clipmule::translations ALIAS clipmule_translations)
