var total = 0;
var r = 0;
while (r < 20) {
    var arr = [];
    var i = 0;
    while (i < 20000) {
        arr.push({a: i, b: 'x' + i});
        i = i + 1;
    }
    i = 0;
    while (i < 20000) {
        var m = arr[i];
        total = total + m.a + m.b.length;
        i = i + 1;
    }
    r = r + 1;
}
print(total);
