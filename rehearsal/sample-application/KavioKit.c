const char* kavioKitName(void);

const char* kavioKitName(void) {
    return "KavioKit";
}
