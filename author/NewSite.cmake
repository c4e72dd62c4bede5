# SPDX-License-Identifier: MIT
#
# Writes the files of a folder into a source file: cmake -DFOLDER=.. -DFILES=a;b -DOUTPUT=x.cpp -P <this>
set(source "// Made from author/new.\n#include \"author/NewCommand.h\"\n\nconst std::vector<NewFile>& NewSite() {\n  static const std::vector<NewFile> kFiles = {\n")
foreach(name IN LISTS FILES)
  file(READ "${FOLDER}/${name}" text)
  string(APPEND source "{\"${name}\", R\"vistel(${text})vistel\"},\n")
endforeach()
file(WRITE "${OUTPUT}" "${source}  };\n  return kFiles;\n}\n")
