// Softens a picture: soften in.png out.png
#include <iostream>

#include <orv/orv.h>

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "usage: soften IN OUT\n";
        return 2;
    }
    try {
        orv::Session session;
        const orv::Image photo = session.read(arguments[1]);
        session.write(session.convolve(photo, {.kernel = orv::Kernel::gaussian(5, 1.0)}), arguments[2]);
    } catch (const orv::Error& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
