" Writes the list of errors, an entry a line, to the file "list".
let lines = []
for entry in getqflist()
  call add(lines, join([bufname(entry.bufnr), entry.lnum, entry.type, entry.nr, entry.text], '|'))
endfor
call writefile(lines, 'list')
