# Embeds files in a target: the assembler takes them in as they are, which takes no time to compile.
# TEMPLATE becomes a source of the target that finds them by their names.
function(tiomipra_embed target template)
  set(blocks)
  set(table)
  foreach(file IN LISTS ARGN)
    get_filename_component(name ${file} NAME)
    string(MAKE_C_IDENTIFIER ${name} symbol)
    set(symbol tiomipra_asset_${symbol})
    string(APPEND blocks
      "asm(\".pushsection .rodata\\n${symbol}: .incbin \\\"${file}\\\"\\n${symbol}_end:\\n.popsection\");\n"
      "extern \"C\" __attribute__((visibility(\"hidden\"))) const char ${symbol}[], ${symbol}_end[];\n")
    string(APPEND table "    {\"${name}\", ${symbol}, ${symbol}_end},\n")
  endforeach()
  get_filename_component(source ${template} NAME_WLE)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${source})
  configure_file(${template} ${source} @ONLY)
  set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS "${ARGN}")
  target_sources(${target} PRIVATE ${source})
endfunction()
