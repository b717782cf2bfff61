; A module that ends its process: GIMP reports it and continues with the unchanged image.
(define image (car (gimp-file-load RUN-NONINTERACTIVE "scene.png" "scene.png")))
(define layer (car (gimp-image-get-active-layer image)))
(gimp-image-clean-all image)
(catch "" (plug-in-fogdissolver RUN-NONINTERACTIVE image layer 70 -1 -1 0 100 50 FALSE))
(gimp-message (string-append "dirty " (number->string (car (gimp-image-is-dirty image)))))
(file-png-save RUN-NONINTERACTIVE image layer "kept.png" "kept.png" 0 1 0 0 0 0 0)
