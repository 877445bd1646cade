var s = 0;
var i = 0;
while (i < 3000000) {
    i = i + 1;
    s = s + i;
}
print(s);
