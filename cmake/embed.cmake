# Files as arrays of bytes in a header, with their SHA-256: -DHEADER=..., -DFILES="a.css;b.js".
set(content "#pragma once\n")
foreach(file ${FILES})
  cmake_path(GET file FILENAME name)
  string(MAKE_C_IDENTIFIER ${name} name)
  file(READ ${file} bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(REGEX REPLACE "(................................................................................)" "\\1\n" bytes "${bytes}")
  file(SHA256 ${file} digest)
  string(APPEND content "inline constexpr unsigned char k_${name}[] = {\n${bytes}};\n"
    "inline constexpr char k_${name}_sha256[] = \"${digest}\";\n")
endforeach()
file(WRITE ${HEADER} "${content}")
