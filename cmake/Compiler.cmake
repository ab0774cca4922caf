# Warnings are errors everywhere; sanitizers come from the preset.
add_compile_options(
    -Wall -Wextra -Wpedantic -Werror
    -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wformat=2)
# Parameters may be named like the fields; clang cannot tell those from the rest.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>)

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 17)
    # libstdc++ asks for the macro before it declares std::coroutine_handle;
    # clang implements the feature but does not announce it before version 17.
    add_compile_definitions(__cpp_impl_coroutine=201902L)
    add_compile_options(-Wno-builtin-macro-redefined)
endif()

if(NIMBE_SANITIZE)
    add_compile_options(-fsanitize=${NIMBE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${NIMBE_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND NIMBE_SANITIZE MATCHES "undefined")
        # clang 14 cannot assemble template coroutines under this one check.
        add_compile_options(-fno-sanitize=function)
    endif()
endif()
