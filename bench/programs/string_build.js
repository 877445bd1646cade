var s = '';
var n = 0;
var i = 0;
while (i < 80000) {
    s = s + 'abc';
    if (s.length > 96) { s = s.substr(48); }
    n = n + s.indexOf('cab');
    i = i + 1;
}
print(n);
