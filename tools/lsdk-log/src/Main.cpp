#include <exception>
#include <iostream>

#include "Reader.h"

int main(int count, char** arguments) {
    std::ios::sync_with_stdio(false);
    try {
        return runReader({arguments + 1, arguments + count}, std::cout, std::cerr);
    } catch (const std::exception& exception) {
        std::cerr << "lsdk-log: " << exception.what() << "\n";
        return 2;
    }
}
