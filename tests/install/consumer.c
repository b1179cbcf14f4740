/* A host built against an installed qxmatte: draws an unknown band into a
 * mask and asks for its bounding box. Prints the box and the cut count. */
#include <stdio.h>

#include <qxmatte.h>

int main(void) {
    static unsigned char mask[80][120]; /* all 0: soft cut */
    int x, w, y, h, keep, cut;
    qxDrawLine8u(&mask[0][0], 120, 120, 80, 20, 40, 100, 40, 2, 2, 0);
    if (qxMaskBBox(0, mask, 120, 120, 80, &x, &w, &y, &h, &keep, &cut, 0, 255, 0) != 1) return 1;
    printf("box x=%d y=%d %dx%d, %d cut pixels in it\n", x, y, w, h, cut);
    return 0;
}
