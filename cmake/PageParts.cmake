# cmake -D LIBRARY=... -D DOCUMENTATION=... -D PAGE=... -D OUTPUT=... -P PageParts.cmake: writes a source file that holds
# the parts of the report's page as texts, with the hashes by which its content security policy knows them.
#
# LIBRARY: the folder of the chart library; DOCUMENTATION: that of its licence; PAGE: apps/lumvex/report/page.

# The hash of a text as policies write it: SHA-256 in base64.
function(policy_hash result text)
  string(SHA256 hex "${text}")
  set(digits ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  set(base64 "")
  string(APPEND hex "00")  # 32 bytes and one of zeros are 11 groups of three; the last digit becomes padding
  foreach(group RANGE 0 10)
    math(EXPR at "${group} * 6")
    string(SUBSTRING "${hex}" ${at} 6 bytes)
    math(EXPR word "0x${bytes}")
    foreach(shift 18 12 6 0)
      math(EXPR digit "(${word} >> ${shift}) & 63")
      string(SUBSTRING "${digits}" ${digit} 1 character)
      string(APPEND base64 "${character}")
    endforeach()
  endforeach()
  string(SUBSTRING "${base64}" 0 43 base64)
  set(${result} "sha256-${base64}=" PARENT_SCOPE)
endfunction()

function(read result file)
  file(READ "${file}" text)
  # A browser would look for the file that such a line names.
  string(REGEX REPLACE "/[/*]# sourceMappingURL=[^\n]*" "" text "${text}")
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

set(source "// Made by cmake/PageParts.cmake; do not edit.\n#include \"report/page_parts.hpp\"\n\nnamespace lumvex::app::page_parts {\n\n")
function(add_script name file)
  read(text "${file}")
  if(text MATCHES "</(script|style)")
    message(FATAL_ERROR "${file} would end the element that holds it")
  endif()
  policy_hash(hash "${text}")
  string(APPEND source "const Script ${name}{R\"lumvexpart(${text})lumvexpart\", \"${hash}\"};\n")
  set(source "${source}" PARENT_SCOPE)
endfunction()
function(add_text name file)
  read(text "${file}")
  string(APPEND source "const std::string_view ${name} = R\"lumvexpart(${text})lumvexpart\";\n")
  set(source "${source}" PARENT_SCOPE)
endfunction()

add_script(kChartLibrary "${LIBRARY}/dygraph.min.js")
add_script(kBlocks "${PAGE}/blocks.js")
add_script(kCharts "${PAGE}/charts.js")
add_script(kPage "${PAGE}/page.js")
add_script(kChartStyle "${LIBRARY}/dygraph.min.css")
add_script(kStyle "${PAGE}/style.css")
add_text(kBody "${PAGE}/body.html")
add_text(kLicence "${DOCUMENTATION}/copyright")
string(APPEND source "\n}  // namespace lumvex::app::page_parts\n")
file(WRITE "${OUTPUT}" "${source}")
