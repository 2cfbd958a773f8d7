// Asks GLib's content-type detection, which file managers use, what type a file
// is: by its bytes ("data FILE") or by its name alone ("name NAME"). GLib is
// reached at run time (the toolkit brings it; its headers are not needed).
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include <dlfcn.h>

int main(int argc, char** argv) {
    if (argc != 3 || (std::strcmp(argv[1], "data") != 0 && std::strcmp(argv[1], "name") != 0)) {
        std::fputs("usage: mime_probe data FILE | name NAME\n", stderr);
        return 2;
    }
    void* gio = dlopen("libgio-2.0.so.0", RTLD_NOW);
    void* glib = dlopen("libglib-2.0.so.0", RTLD_NOW);
    if (!gio || !glib) {
        std::fprintf(stderr, "mime_probe: %s\n", dlerror());
        return 1;
    }
    using Guess = char* (*)(const char* name, const unsigned char* data, size_t size, int* uncertain);
    using Free = void (*)(void*);
    auto guess = reinterpret_cast<Guess>(dlsym(gio, "g_content_type_guess"));
    auto release = reinterpret_cast<Free>(dlsym(glib, "g_free"));
    if (!guess || !release) {
        std::fputs("mime_probe: GLib lacks g_content_type_guess\n", stderr);
        return 1;
    }
    int uncertain = 0;
    char* type = nullptr;
    if (std::strcmp(argv[1], "data") == 0) {
        std::ifstream in(argv[2], std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        type = guess(nullptr, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), &uncertain);
    } else {
        type = guess(argv[2], nullptr, 0, &uncertain);
    }
    std::printf("%s\n", type ? type : "");
    release(type);
    return 0;
}
