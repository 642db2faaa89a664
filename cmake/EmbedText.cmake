# SPDX-License-Identifier: MIT
# sl42_embed_texts(OUT DEFINITIONS name=File.metal ...): the text of C++ definitions
# `const std::string_view name`, one per file, each without the file's opening comment (everything
# up to the first empty line). Changing a file configures again.
function(sl42_embed_texts out)
    set(definitions "")
    foreach(pair ${ARGN})
        string(REGEX MATCH "^([a-zA-Z0-9]+)=(.+)$" matched "${pair}")
        set(name ${CMAKE_MATCH_1})
        set(file ${CMAKE_CURRENT_SOURCE_DIR}/${CMAKE_MATCH_2})
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
        file(READ ${file} text)
        string(FIND "${text}" "\n\n" end)
        math(EXPR begin "${end} + 2")
        string(SUBSTRING "${text}" ${begin} -1 text)
        string(APPEND definitions "const std::string_view ${name} = R\"metal(${text})metal\";\n")
    endforeach()
    set(${out} "${definitions}" PARENT_SCOPE)
endfunction()
