;;; vsp32.el --- the messages of vsp32 in compilation buffers  -*- lexical-binding: t -*-

;; A word, the code, file and line: "Warning W8017 a.c 12: text". The letter of the code tells a warning
;; from an error.

(require 'compile)

(add-to-list 'compilation-error-regexp-alist-alist
             '(vsp32 "^[^ \n]+ \\(?:\\(W\\)\\|[EF]\\)[0-9]\\{4\\} \\(.+?\\) \\([0-9]+\\): " 2 3 nil (1)))
(add-to-list 'compilation-error-regexp-alist 'vsp32)

(provide 'vsp32)
;;; vsp32.el ends here
