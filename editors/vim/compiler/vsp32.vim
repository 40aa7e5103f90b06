" Runs the preprocessor by :make, and reads its messages into the list of errors.

if exists("current_compiler")
  finish
endif
let current_compiler = "vsp32"

CompilerSet makeprg=vsp32\ -q

" A word, the code, and as far as there are any file and line. All other lines are left out.
CompilerSet errorformat=%*\\S\ %t%n\ %f\ %l:\ %m
CompilerSet errorformat+=%*\\S\ %t%n\ %f:\ %m
CompilerSet errorformat+=%*\\S\ %t%n:\ %m
CompilerSet errorformat+=%-G%.%#
