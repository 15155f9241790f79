# -DQUENLOFAR_SANITIZE=address,undefined: every target is built with these sanitizers, a finding ends the program.
if(QUENLOFAR_SANITIZE)
    add_compile_options(-fsanitize=${QUENLOFAR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${QUENLOFAR_SANITIZE})
endif()
