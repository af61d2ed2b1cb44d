// The sample application for macOS: it has the shape of a program and is not meant to be of use.
int puts(const char* text);
const char* kavioKitName(void);

int main(void) {
    return puts(kavioKitName()) < 0;
}
