# Runs `keldcfg snap` on a fresh data folder and checks that it wrote a
# colour PNG of the Bayer camera's size.
file(REMOVE_RECURSE ${DATA})
file(REMOVE ${OUTPUT})
set(ENV{KELDSIM_DATA} ${DATA})
execute_process(COMMAND ${TOOL} snap ${OUTPUT} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "keldcfg snap failed (${result}): ${out}${err}")
endif()
if(NOT out MATCHES "img0: 1280 x 1024 colour frame written to")
  message(FATAL_ERROR "unexpected report: ${out}")
endif()
file(READ ${OUTPUT} header LIMIT 26 HEX)
# PNG signature, then IHDR: width 1280 (0x500), height 1024 (0x400), depth 8,
# colour type 6 (RGBA) or 2 (RGB).
if(NOT header MATCHES "^89504e470d0a1a0a0000000d494844520000050000000400080[26]")
  message(FATAL_ERROR "not a 1280 x 1024 colour PNG: ${header}")
endif()
