; The user cancels the dialog: no undo step, and no last settings.
(define image (car (gimp-file-load RUN-NONINTERACTIVE "scene.png" "scene.png")))
(define layer (car (gimp-image-get-active-layer image)))
(gimp-image-clean-all image)
(catch "" (plug-in-fogdissolver RUN-INTERACTIVE image layer 0 0 0 0 0 0 FALSE))
(gimp-message (string-append "dirty " (number->string (car (gimp-image-is-dirty image)))))
