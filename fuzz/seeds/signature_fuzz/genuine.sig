<?xml version="1.0" encoding="UTF-8"?>
<dll>
 <version>1.0.0</version>
 <name>hostchecker</name>
 <signdate>2026-11-21T03:50:48+0000</signdate>
 <sha256>zp6xNKL64iSLjINSvv+l+ImqiplmwRVSddMz3jxqwNw=</sha256>
 <signature>ClGknYiLBSuh++rbXnhK99BeA5H4H498AoCUI2cutreJaZxY3dqpGqVcd8tWbVO38vhLmBTSmr2le89BAUJdaJJg4IAe4RjoSPcmGsCMHXDY7Swwdf6rgTp2fRg9pGLAnpZnnpkSPw9cXU9tsHIbLexRAfCLrl5hMPvrHJz3mpSriqOHHKb5t9lTmmp5nQ8LUnDZTiQIgJidFyYrmJzONmdKKijuW328SOYrubiIJRYYlqQ7wf6qZncp5ST3Q9KraC9c+IpwsTWRrDBsEfv6g+nhkd69o2kDMRG4NHspEIXZb2duOR0/2VZ/k4oLa4dnKhIl//QUni2gtY/voBRr+w==</signature>
</dll>
