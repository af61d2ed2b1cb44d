int puts(const char* text);

int main(void) {
    return puts("Kavio Helper") < 0;
}
