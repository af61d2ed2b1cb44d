# How Objective-C++ is compiled and linked in the directory that includes this. Without Apple's SDK the declarations in
# macos-sdk/ take its place.
if(KAVIO_MAC_SDK)
  add_compile_options(-iframework "${KAVIO_MAC_SDK}/Frameworks")
  add_compile_options(-Wno-nullability-completeness) # the C++ library of zig does not say it
  add_link_options("-F${KAVIO_MAC_SDK}/Frameworks" "-L${KAVIO_MAC_SDK}/usr/lib")
endif()
add_compile_options($<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc> -Werror=unguarded-availability)
