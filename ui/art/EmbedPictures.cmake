# Renders the drawings and writes them as byte arrays, the table for FindPicture.
#
#   cmake -DRSVG_CONVERT=program -DART=folder -DOUTPUT=file.cpp -P EmbedPictures.cmake

set(multiples 1 2 3 4)


get_filename_component(folder ${OUTPUT} DIRECTORY)
set(arrays "")
set(rows "")
# drawing, number in the dialogs' tables, width, height
foreach(drawing "logo,139,96,96" "banner,140,356,40")
  string(REPLACE "," ";" drawing ${drawing})
  list(GET drawing 0 name)
  list(GET drawing 1 number)
  list(GET drawing 2 width)
  list(GET drawing 3 height)
  foreach(multiple ${multiples})
    math(EXPR w "${width} * ${multiple}")
    math(EXPR h "${height} * ${multiple}")
    set(png ${folder}/${name}-${multiple}.png)
    execute_process(COMMAND ${RSVG_CONVERT} -w ${w} -h ${h} -o ${png} ${ART}/${name}.svg
                    COMMAND_ERROR_IS_FATAL ANY)
    file(READ ${png} bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(APPEND arrays "constexpr unsigned char ${name}${multiple}[] = {${bytes}};\n")
    string(APPEND rows
      "    {${number}, ${w}, ${h}, ${name}${multiple}, sizeof ${name}${multiple}},\n")
  endforeach()
endforeach()

file(WRITE ${OUTPUT} "// Made from ui/art at build time.
#include \"ui/toolkit/qt/Pictures.h\"

namespace {

${arrays}
constexpr EmbeddedPicture pictures[] = {
${rows}};

} // namespace

const EmbeddedPicture* FindPicture(int number, int width, int height) {
  const EmbeddedPicture* best = nullptr; // rows of one number grow
  for (const EmbeddedPicture& picture : pictures)
    if (picture.number == number) {
      best = &picture;
      if (picture.width >= width && picture.height >= height)
        break;
    }
  return best;
}
")
