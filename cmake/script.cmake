# Parts of a script as one strict function: -DSCRIPT=..., -DPARTS="a.js;b.js".
set(content "'use strict';\n(() => {\n")
foreach(part ${PARTS})
  file(READ ${part} text)
  string(APPEND content "${text}\n")
endforeach()
file(WRITE ${SCRIPT} "${content}})();\n")
