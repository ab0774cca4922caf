# ONNX Runtime and the speech models, as scripts/bootstrap brought them from npm.
#
#   OnnxRuntime         imported target: library and headers
#   NIMBE_MODELS_DIR    the packaged models, laid out as they are installed

set(npm ${PROJECT_SOURCE_DIR}/assets/node_modules)
if(NOT EXISTS ${npm}/.lock-sum)
    message(FATAL_ERROR "The npm packages are missing: run scripts/bootstrap build")
endif()
if(NOT CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    message(FATAL_ERROR
        "assets/package.json brings ONNX Runtime for x86_64 only, not for ${CMAKE_SYSTEM_PROCESSOR}")
endif()

set(runtime ${npm}/sherpa-onnx-linux-x64/libonnxruntime.so)
set(headers ${npm}/@siteed/sherpa-onnx.rn/prebuilt/include/onnxruntime)

# Library and headers come from two packages. The runtime serves the interfaces of
# all earlier versions, so its own 1.N must reach the headers' ORT_API_VERSION N.
file(STRINGS ${headers}/onnxruntime_c_api.h version_line REGEX "^#define ORT_API_VERSION")
string(REGEX MATCH "[0-9]+" header_version "${version_line}")
file(STRINGS ${runtime} symbol_version REGEX "VERS_1\\.[0-9]+\\.[0-9]+" LIMIT_COUNT 1)
string(REGEX MATCH "VERS_1\\.([0-9]+)" symbol_version "${symbol_version}")
set(library_version ${CMAKE_MATCH_1})
if(NOT header_version OR NOT library_version OR library_version LESS header_version)
    message(FATAL_ERROR "ONNX Runtime's library (1.${library_version}) is older than its headers "
        "(1.${header_version})")
endif()
message(STATUS "ONNX Runtime 1.${library_version}, headers of 1.${header_version}")

add_library(OnnxRuntime SHARED IMPORTED)
set_target_properties(OnnxRuntime PROPERTIES
    IMPORTED_LOCATION ${runtime}
    INTERFACE_INCLUDE_DIRECTORIES ${headers}
    INTERFACE_COMPILE_DEFINITIONS ORT_API_MANUAL_INIT=1)

set(NIMBE_MODELS_DIR ${CMAKE_BINARY_DIR}/share/nimbe/models)

# Where the executable looks for it, in the build folder and where it is installed.
function(package_model_file folder file source)
    file(MAKE_DIRECTORY ${NIMBE_MODELS_DIR}/${folder})
    file(CREATE_LINK ${source} ${NIMBE_MODELS_DIR}/${folder}/${file} SYMBOLIC)
    install(FILES ${source} DESTINATION share/nimbe/models/${folder} RENAME ${file})
endfunction()

foreach(size base tiny)
    set(quantized ${npm}/@usefulsensors/moonshine-js/dist/model/${size}/quantized)
    set(folder moonshine-${size}-en)
    package_model_file(${folder} encoder_model.onnx ${quantized}/encoder_model.onnx)
    package_model_file(${folder} decoder_model_merged.onnx ${quantized}/decoder_model_merged.onnx)
    package_model_file(${folder} tokens.txt ${npm}/speech-tokens.txt)
    package_model_file(${folder} silero_vad.onnx ${npm}/@ricky0123/vad-web/dist/silero_vad_v6.onnx)
endforeach()
