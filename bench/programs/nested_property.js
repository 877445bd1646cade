var a = {w: 3, z: {x: 0, y: 1}};
var i = 0;
while (i < 1000000) {
    a.z.x = a.z.x + a.z.y;
    a.z.y = a.w - a.z.y;
    i = i + 1;
}
print(a.z.x);
