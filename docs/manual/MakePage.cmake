# Turns the guide SOURCE into a page in FOLDER, with the pictures it shows. The links in the file LINKS lead to all pages.
get_filename_component(name "${SOURCE}" NAME_WE)
get_filename_component(docs "${SOURCE}" DIRECTORY)
execute_process(COMMAND "${LOWDOWN}" -thtml --html-no-skiphtml --html-no-escapehtml "${SOURCE}"
  OUTPUT_VARIABLE body COMMAND_ERROR_IS_FATAL ANY)

string(REGEX MATCHALL "src=\"pictures/[^\"]+" pictures "${body}")
foreach(picture ${pictures})
  string(REPLACE "src=\"" "" picture "${picture}")
  file(COPY "${docs}/${picture}" DESTINATION "${FOLDER}/pictures")
endforeach()

# From guide to guide; what is not in the manual is named without a link.
string(REGEX REPLACE "href=\"([a-z-]+)\\.md" "href=\"\\1.html" body "${body}")
string(REGEX REPLACE "<a href=\"\\.\\./[^\"]*\">([^<]*)</a>" "\\1" body "${body}")
string(REGEX MATCH "<h1[^>]*>([^<]*)" title "${body}")
set(title "${CMAKE_MATCH_1}")
file(READ "${LINKS}" links)
string(REPLACE "href=\"${name}.html\"" "href=\"${name}.html\" aria-current=\"page\"" links "${links}")
configure_file("${TEMPLATE}" "${FOLDER}/${name}.html" @ONLY)
