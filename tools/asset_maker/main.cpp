// nq_asset_maker OUTDIR: paints and synthesises every picture and sound the program ships and
// writes them under OUTDIR (image/..., sound/...). Run with OUTDIR = assets to refresh the tree.

#include <cstdio>

#include "asset_maker/catalogue.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTDIR\n", argv[0]);
        return 2;
    }
    QString error;
    if (!nq::assets::writeAll(QString::fromLocal8Bit(argv[1]), &error)) {
        std::fprintf(stderr, "nq_asset_maker: %s\n", qPrintable(error));
        return 1;
    }
    for (const auto& a : nq::assets::catalogue()) std::printf("%s/%s\n", argv[1], a.path.c_str());
    return 0;
}
