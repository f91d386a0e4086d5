// SPDX-License-Identifier: Apache-2.0
//
// A program that is linked with QtCore but uses it only trivially.
#include <QString>

int main(int /*argc*/, char** argv) {
    return QString::fromUtf8(argv[0]).isEmpty() ? 1 : 0;
}
