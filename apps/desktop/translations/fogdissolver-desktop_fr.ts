<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr">
<context>
    <name>Reasons</name>
    <message>
        <source>No such file or directory</source>
        <translation>fichier ou dossier introuvable</translation>
    </message>
    <message>
        <source>Permission denied</source>
        <translation>accès refusé</translation>
    </message>
    <message>
        <source>a folder, not a photograph</source>
        <translation>un dossier, pas une photographie</translation>
    </message>
    <message>
        <source>not an image, or of a format that is not read</source>
        <translation>pas une image, ou un format qui n’est pas lu</translation>
    </message>
    <message>
        <source>not an RGB picture, and the filter works on RGB images</source>
        <translation>pas une image RVB ; le filtre travaille sur des images RVB</translation>
    </message>
    <message>
        <source>the file is empty</source>
        <translation>le fichier est vide</translation>
    </message>
    <message>
        <source>truncated: the file ends before the picture does</source>
        <translation>tronqué : le fichier s’arrête avant la fin de l’image</translation>
    </message>
    <message>
        <source>not enough memory</source>
        <translation>mémoire insuffisante</translation>
    </message>
    <message>
        <source>no haze light found</source>
        <translation>aucune lumière de brume trouvée</translation>
    </message>
    <message>
        <source>holds several pictures; the first one is used</source>
        <translation>contient plusieurs images ; la première est prise</translation>
    </message>
    <message>
        <source>%1 cannot be written: %2</source>
        <translation>%1 ne peut pas être écrit : %2</translation>
    </message>
    <message>
        <source>%1 cannot hold %2 bits a channel</source>
        <translation>%1 ne connaît pas %2 bits par canal</translation>
    </message>
    <message>
        <source>%1 cannot hold transparency</source>
        <translation>%1 ne connaît pas la transparence</translation>
    </message>
    <message>
        <source>%1 holds at most %2 pixels a side</source>
        <translation>%1 est limité à %2 pixels de côté</translation>
    </message>
    <message>
        <source>%1: the output %2 is an input</source>
        <translation>%1 : le résultat %2 est la photographie elle-même</translation>
    </message>
    <message>
        <source>the output %1 is a folder</source>
        <translation>le résultat %1 est un dossier</translation>
    </message>
    <message>
        <source>the output %1 exists already; --force replaces it</source>
        <translation>%1 existe déjà</translation>
    </message>
    <message>
        <source>&apos;%1&apos; is no format that can be written; there are %2</source>
        <translation>« %1 » n’est pas un format d’écriture ; il y a %2</translation>
    </message>
    <message>
        <source>wider than %1 pixels, which the filter corrects from its dialog only</source>
        <translation>plus large que %1 pixels : le filtre ne la corrige que depuis sa fenêtre de réglages</translation>
    </message>
    <message>
        <source>too large: the filter takes at most %1 pixels</source>
        <translation>trop grande : le filtre accepte au plus %1 pixels</translation>
    </message>
    <message>
        <source>No space left on device</source>
        <translation>plus de place sur le disque</translation>
    </message>
    <message>
        <source>not enough memory (%1 MB were needed at %2 pixels)</source>
        <translation>mémoire insuffisante (il en fallait %1 Mo pour %2 pixels)</translation>
    </message>
    <message>
        <source>its result exists already</source>
        <translation>son résultat existe déjà</translation>
    </message>
    <message>
        <source>is a folder</source>
        <translation>est un dossier</translation>
    </message>
    <message>
        <source>the folder %1 cannot be made: %2</source>
        <translation>le dossier %1 ne peut pas être créé : %2</translation>
    </message>
    <message>
        <source>%1 has no place for %2</source>
        <translation>%1 n’a pas de place pour %2</translation>
    </message>
    <message>
        <source>the %1 file is without %2</source>
        <translation>le fichier %1 est sans %2</translation>
    </message>
    <message>
        <source>truncated or damaged</source>
        <translation>tronqué ou endommagé</translation>
    </message>
    <message>
        <source>an animation, not a photograph</source>
        <translation>une animation, pas une photographie</translation>
    </message>
    <message>
        <source>holds several pictures; the largest one is used</source>
        <translation>contient plusieurs images ; la plus grande est prise</translation>
    </message>
    <message>
        <source>cannot be read: its decoder finds no end</source>
        <translation>illisible : son décodeur n’en finit pas</translation>
    </message>
    <message>
        <source>cannot be read: the file breaks its decoder</source>
        <translation>illisible : le fichier fait échouer son décodeur</translation>
    </message>
    <message>
        <source>cannot be read: its reader was killed, perhaps for lack of memory</source>
        <translation>illisible : son lecteur a été arrêté, peut-être faute de mémoire</translation>
    </message>
    <message>
        <source>has damaged metadata, of which only the readable part is kept: %1</source>
        <translation>contient des métadonnées endommagées, dont seule la partie lisible est gardée : %1</translation>
    </message>
</context>
<context>
    <name>desktop::Batch</name>
    <message>
        <source>the batch ended by itself</source>
        <translation>le lot s’est arrêté de lui-même</translation>
    </message>
</context>
<context>
    <name>desktop::BatchWindow</name>
    <message>
        <source>Batch – Fogdissolver</source>
        <translation>Lot – Fogdissolver</translation>
    </message>
    <message>
        <source>The standard: strength 70</source>
        <translation>Le réglage d’origine : force 70</translation>
    </message>
    <message>
        <source>That of the photograph in the window</source>
        <translation>Celui de la photographie ouverte</translation>
    </message>
    <message>
        <source>From a settings file…</source>
        <translation>D’un fichier de réglages…</translation>
    </message>
    <message>
        <source>Beside each photograph, as NAME-clear</source>
        <translation>À côté de chaque photographie, NOM-clear</translation>
    </message>
    <message>
        <source>Folder of the results</source>
        <translation>Dossier des résultats</translation>
    </message>
    <message>
        <source>&amp;Browse…</source>
        <translation>&amp;Parcourir…</translation>
    </message>
    <message>
        <source>As the photograph</source>
        <translation>Comme la photographie</translation>
    </message>
    <message>
        <source>Leave as they are</source>
        <translation>Les laisser</translation>
    </message>
    <message>
        <source>Replace</source>
        <translation>Les remplacer</translation>
    </message>
    <message>
        <source>Keep, and number the new ones</source>
        <translation>Les garder et numéroter les nouveaux</translation>
    </message>
    <message>
        <source>&amp;Folder</source>
        <translation>&amp;Dossier</translation>
    </message>
    <message>
        <source>&amp;Look</source>
        <translation>&amp;Réglages</translation>
    </message>
    <message>
        <source>E&amp;xisting files</source>
        <translation>&amp;Fichiers existants</translation>
    </message>
    <message>
        <source>F&amp;ormat</source>
        <translation>F&amp;ormat</translation>
    </message>
    <message>
        <source>&amp;Quality</source>
        <translation>&amp;Qualité</translation>
    </message>
    <message>
        <source>&amp;At a time</source>
        <translation>&amp;À la fois</translation>
    </message>
    <message>
        <source>Photograph</source>
        <translation>Photographie</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>Taille</translation>
    </message>
    <message>
        <source>Progress</source>
        <translation>Avancement</translation>
    </message>
    <message>
        <source>State</source>
        <translation>État</translation>
    </message>
    <message>
        <source>Photographs</source>
        <translation>Photographies</translation>
    </message>
    <message>
        <source>A&amp;dd…</source>
        <translation>&amp;Ajouter…</translation>
    </message>
    <message>
        <source>&amp;Remove</source>
        <translation>&amp;Retirer</translation>
    </message>
    <message>
        <source>&amp;Try Again</source>
        <translation>&amp;Réessayer</translation>
    </message>
    <message>
        <source>&amp;Start</source>
        <translation>&amp;Démarrer</translation>
    </message>
    <message>
        <source>&amp;Pause</source>
        <translation>&amp;Pause</translation>
    </message>
    <message>
        <source>&amp;Cancel</source>
        <translation>A&amp;nnuler</translation>
    </message>
    <message>
        <source>Progress of the whole batch</source>
        <translation>Avancement de tout le lot</translation>
    </message>
    <message>
        <source>Add Photographs</source>
        <translation>Ajouter des photographies</translation>
    </message>
    <message>
        <source>Waiting</source>
        <translation>En attente</translation>
    </message>
    <message>
        <source>%1 × %2, %3</source>
        <translation>%1 × %2, %3</translation>
    </message>
    <message>
        <source>%1 percent</source>
        <translation>%1 pour cent</translation>
    </message>
    <message>
        <source>Folder of the Results</source>
        <translation>Dossier des résultats</translation>
    </message>
    <message>
        <source>Settings File</source>
        <translation>Fichier de réglages</translation>
    </message>
    <message>
        <source>From %1</source>
        <translation>De %1</translation>
    </message>
    <message>
        <source>Left out: %1</source>
        <translation>Laissée de côté : %1</translation>
    </message>
    <message>
        <source>Running</source>
        <translation>En cours</translation>
    </message>
    <message>
        <source>Written to %1</source>
        <translation>Écrite dans %1</translation>
    </message>
    <message>
        <source>Failed: %1</source>
        <translation>Échec : %1</translation>
    </message>
    <message>
        <source>Stopped</source>
        <translation>Arrêtée</translation>
    </message>
    <message>
        <source>&amp;Go On</source>
        <translation>Re&amp;prendre</translation>
    </message>
    <message numerus="yes">
        <source>%n photograph(s)</source>
        <translation>
            <numerusform>%n photographie</numerusform>
            <numerusform>%n photographies</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n done</source>
        <translation>
            <numerusform>%n faite</numerusform>
            <numerusform>%n faites</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n failed</source>
        <translation>
            <numerusform>%n échec</numerusform>
            <numerusform>%n échecs</numerusform>
        </translation>
    </message>
    <message>
        <source>Drop photographs or a folder here, or add them.</source>
        <translation>Déposez ici des photographies ou un dossier, ou ajoutez-les.</translation>
    </message>
    <message>
        <source>A Batch Runs</source>
        <translation>Un lot est en cours</translation>
    </message>
    <message>
        <source>Stop the batch? What is written already stays.</source>
        <translation>Arrêter le lot ? Ce qui est déjà écrit reste.</translation>
    </message>
    <message>
        <source>Looking for photographs…</source>
        <translation>Recherche de photographies…</translation>
    </message>
</context>
<context>
    <name>desktop::MainWindow</name>
    <message>
        <source>desktop.html</source>
        <extracomment>the page&apos;s file: fr/desktop.html in French</extracomment>
        <translation>fr/desktop.html</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Fichier</translation>
    </message>
    <message>
        <source>&amp;Open…</source>
        <translation>&amp;Ouvrir…</translation>
    </message>
    <message>
        <source>Open &amp;Recent</source>
        <translation>Ouvrir un fichier &amp;récent</translation>
    </message>
    <message>
        <source>&amp;Batch…</source>
        <translation>&amp;Lot…</translation>
    </message>
    <message>
        <source>&amp;Save</source>
        <translation>&amp;Enregistrer</translation>
    </message>
    <message>
        <source>Save &amp;As…</source>
        <translation>Enregistrer &amp;sous…</translation>
    </message>
    <message>
        <source>&amp;Export Mask…</source>
        <translation>E&amp;xporter le masque…</translation>
    </message>
    <message>
        <source>Re&amp;vert</source>
        <translation>Re&amp;venir à l’original</translation>
    </message>
    <message>
        <source>&amp;Close</source>
        <translation>&amp;Fermer</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Quitter</translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation>É&amp;dition</translation>
    </message>
    <message>
        <source>&amp;Undo</source>
        <translation>&amp;Annuler</translation>
    </message>
    <message>
        <source>&amp;Redo</source>
        <translation>&amp;Rétablir</translation>
    </message>
    <message>
        <source>&amp;Copy Picture</source>
        <translation>&amp;Copier l’image</translation>
    </message>
    <message>
        <source>Copy as Co&amp;mmand</source>
        <translation>Copier la co&amp;mmande</translation>
    </message>
    <message>
        <source>&amp;Paste a File</source>
        <translation>C&amp;oller un fichier</translation>
    </message>
    <message>
        <source>C&amp;ancel What Runs</source>
        <translation>&amp;Interrompre</translation>
    </message>
    <message>
        <source>Clear on &amp;Opening</source>
        <translation>&amp;Traiter à l’ouverture</translation>
    </message>
    <message>
        <source>Memory for Un&amp;do…</source>
        <translation>M&amp;émoire d’annulation…</translation>
    </message>
    <message>
        <source>Fi&amp;lter</source>
        <translation>Fi&amp;ltre</translation>
    </message>
    <message>
        <source>&amp;Last Filter</source>
        <translation>&amp;Dernier filtre</translation>
    </message>
    <message>
        <source>Last Filter as &amp;Mask</source>
        <translation>Dernier filtre en &amp;masque</translation>
    </message>
    <message>
        <source>&amp;Adjust…</source>
        <translation>&amp;Régler…</translation>
    </message>
    <message>
        <source>A&amp;bout Filter</source>
        <translation>À &amp;propos du filtre</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>&amp;Affichage</translation>
    </message>
    <message>
        <source>&amp;Split</source>
        <translation>&amp;Partage</translation>
    </message>
    <message>
        <source>Side &amp;by Side</source>
        <translation>&amp;Côte à côte</translation>
    </message>
    <message>
        <source>&amp;Result</source>
        <translation>&amp;Résultat</translation>
    </message>
    <message>
        <source>&amp;Haze Mask</source>
        <translation>&amp;Masque de brume</translation>
    </message>
    <message>
        <source>Zoom &amp;In</source>
        <translation>A&amp;grandir</translation>
    </message>
    <message>
        <source>Zoom &amp;Out</source>
        <translation>Ré&amp;duire</translation>
    </message>
    <message>
        <source>&amp;Fit</source>
        <translation>A&amp;juster</translation>
    </message>
    <message>
        <source>&amp;50 %</source>
        <translation>&amp;50 %</translation>
    </message>
    <message>
        <source>&amp;100 %</source>
        <translation>&amp;100 %</translation>
    </message>
    <message>
        <source>&amp;200 %</source>
        <translation>&amp;200 %</translation>
    </message>
    <message>
        <source>Bri&amp;ghter</source>
        <translation>Plus c&amp;lair</translation>
    </message>
    <message>
        <source>&amp;Darker</source>
        <translation>Plus &amp;sombre</translation>
    </message>
    <message>
        <source>&amp;No Exposure</source>
        <translation>Sans &amp;exposition</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>A&amp;ide</translation>
    </message>
    <message>
        <source>&amp;Keyboard…</source>
        <translation>&amp;Clavier…</translation>
    </message>
    <message>
        <source>&amp;About Fogdissolver</source>
        <translation>À &amp;propos de Fogdissolver</translation>
    </message>
    <message>
        <source>Tools</source>
        <translation>Outils</translation>
    </message>
    <message>
        <source>Show the photograph as it was</source>
        <translation>Montrer la photographie d’origine</translation>
    </message>
    <message>
        <source>B, held</source>
        <translation>B, maintenue</translation>
    </message>
    <message>
        <source>Move the photograph</source>
        <translation>Déplacer la photographie</translation>
    </message>
    <message>
        <source>Arrow keys, or drag</source>
        <translation>Flèches, ou glisser</translation>
    </message>
    <message>
        <source>Move the line between before and after</source>
        <translation>Déplacer la ligne entre avant et après</translation>
    </message>
    <message>
        <source>Shift+Left, Shift+Right, or drag</source>
        <translation>Maj+Gauche, Maj+Droite, ou glisser</translation>
    </message>
    <message>
        <source>Zoom around the pointer</source>
        <translation>Agrandir autour du pointeur</translation>
    </message>
    <message>
        <source>Wheel</source>
        <translation>Molette</translation>
    </message>
    <message>
        <source>Between the whole photograph and 100 %</source>
        <translation>Entre la photographie entière et 100 %</translation>
    </message>
    <message>
        <source>Double click</source>
        <translation>Double clic</translation>
    </message>
    <message>
        <source>Keyboard and Mouse</source>
        <translation>Clavier et souris</translation>
    </message>
    <message>
        <source>What</source>
        <translation>Action</translation>
    </message>
    <message>
        <source>How</source>
        <translation>Touche</translation>
    </message>
    <message>
        <source>About Fogdissolver</source>
        <translation>À propos de Fogdissolver</translation>
    </message>
    <message>
        <source>&lt;h3&gt;Fogdissolver %1&lt;/h3&gt;&lt;p&gt;Takes white haze out of photographs.&lt;/p&gt;&lt;p&gt;The code is under the MIT licence.&lt;/p&gt;</source>
        <translation>&lt;h3&gt;Fogdissolver %1&lt;/h3&gt;&lt;p&gt;Retire la brume blanche des photographies.&lt;/p&gt;&lt;p&gt;Le code est sous licence MIT.&lt;/p&gt;</translation>
    </message>
    <message>
        <source>Saved as %1</source>
        <translation>Enregistré sous %1</translation>
    </message>
    <message>
        <source>Photograph</source>
        <translation>Photographie</translation>
    </message>
    <message>
        <source>Arrow keys move the photograph, Shift with them the line between before and after.</source>
        <translation>Les flèches déplacent la photographie, avec Maj la ligne entre avant et après.</translation>
    </message>
    <message>
        <source>Progress</source>
        <translation>Avancement</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
    <message>
        <source>Scale</source>
        <translation>Échelle</translation>
    </message>
    <message>
        <source>&amp;Clear the List</source>
        <translation>&amp;Vider la liste</translation>
    </message>
    <message>
        <source>Open Photographs</source>
        <translation>Ouvrir des photographies</translation>
    </message>
    <message>
        <source>The clipboard holds no file of a photograph.</source>
        <translation>Le presse-papiers ne contient pas de fichier de photographie.</translation>
    </message>
    <message>
        <source>Export the Haze Mask</source>
        <translation>Exporter le masque de brume</translation>
    </message>
    <message>
        <source>Unsaved Changes</source>
        <translation>Modifications non enregistrées</translation>
    </message>
    <message>
        <source>Save the changes to %1?</source>
        <translation>Enregistrer les modifications de %1 ?</translation>
    </message>
    <message>
        <source>They are lost otherwise.</source>
        <translation>Sinon, elles sont perdues.</translation>
    </message>
    <message>
        <source>Copied</source>
        <translation>Copié</translation>
    </message>
    <message>
        <source>Copied: %1</source>
        <translation>Copié : %1</translation>
    </message>
    <message>
        <source>Memory for Undo</source>
        <translation>Mémoire d’annulation</translation>
    </message>
    <message>
        <source>Megabytes that undo and redo may take:</source>
        <translation>Mégaoctets pour annuler et rétablir :</translation>
    </message>
    <message>
        <source>Exposure %1</source>
        <translation>Exposition %1</translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation>%1 %</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
</context>
<context>
    <name>desktop::Notice</name>
    <message>
        <source>Hide the message</source>
        <translation>Masquer le message</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Erreur</translation>
    </message>
    <message>
        <source>Note</source>
        <translation>Remarque</translation>
    </message>
</context>
<context>
    <name>desktop::ResultBar</name>
    <message>
        <source>St&amp;rength</source>
        <translation>F&amp;orce</translation>
    </message>
    <message>
        <source>Strength</source>
        <translation>Force</translation>
    </message>
    <message>
        <source>The share of the haze that is taken away</source>
        <translation>La part de la brume qui est retirée</translation>
    </message>
    <message>
        <source> %</source>
        <translation> %</translation>
    </message>
    <message>
        <source>Strength in percent</source>
        <translation>Force en pour cent</translation>
    </message>
    <message>
        <source>&amp;Adjust…</source>
        <translation>&amp;Régler…</translation>
    </message>
    <message>
        <source>Foreground, background, positions and balance in the filter&apos;s dialog</source>
        <translation>Premier plan, arrière-plan, positions et balance dans la fenêtre du filtre</translation>
    </message>
    <message>
        <source>Foreground: %1</source>
        <translation>Premier plan : %1</translation>
    </message>
    <message>
        <source>Background: %1</source>
        <translation>Arrière-plan : %1</translation>
    </message>
    <message>
        <source>Balance: %1</source>
        <translation>Balance : %1</translation>
    </message>
    <message>
        <source>Foreground until: %1</source>
        <translation>Premier plan jusqu’à : %1</translation>
    </message>
    <message>
        <source>Background from: %1</source>
        <translation>Arrière-plan dès : %1</translation>
    </message>
</context>
<context>
    <name>desktop::SaveDialog</name>
    <message>
        <source>Save As</source>
        <translation>Enregistrer sous</translation>
    </message>
    <message>
        <source>&amp;Browse…</source>
        <translation>&amp;Parcourir…</translation>
    </message>
    <message>
        <source>&amp;Name</source>
        <translation>&amp;Nom</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Nom</translation>
    </message>
    <message>
        <source>&amp;Format</source>
        <translation>&amp;Format</translation>
    </message>
    <message>
        <source>B&amp;its a channel</source>
        <translation>&amp;Bits par canal</translation>
    </message>
    <message>
        <source>&amp;Quality</source>
        <translation>&amp;Qualité</translation>
    </message>
    <message>
        <source>Replace a File</source>
        <translation>Remplacer un fichier</translation>
    </message>
    <message>
        <source>%1 exists already. Replace it?</source>
        <translation>%1 existe déjà. Le remplacer ?</translation>
    </message>
</context>
<context>
    <name>desktop::StartPage</name>
    <message>
        <source>Drop a photograph here, or open one</source>
        <translation>Déposez une photographie ici, ou ouvrez-en une</translation>
    </message>
    <message>
        <source>The haze is taken out at once. Many photographs, or a folder, make a batch.</source>
        <translation>La brume est retirée aussitôt. Plusieurs photographies, ou un dossier, forment un lot.</translation>
    </message>
    <message>
        <source>&amp;Open a Photograph…</source>
        <translation>&amp;Ouvrir une photographie…</translation>
    </message>
    <message>
        <source>Try the &amp;Sample</source>
        <translation>Essayer l’e&amp;xemple</translation>
    </message>
</context>
<context>
    <name>desktop::Workbench</name>
    <message>
        <source>Opening %1</source>
        <translation>Ouverture de %1</translation>
    </message>
    <message numerus="yes">
        <source>%n sample(s) are not finite; they are left as they are.</source>
        <translation>
            <numerusform>%n valeur n’est pas finie ; elle reste telle quelle.</numerusform>
            <numerusform>%n valeurs ne sont pas finies ; elles restent telles quelles.</numerusform>
        </translation>
    </message>
    <message>
        <source>Making the haze mask</source>
        <translation>Calcul du masque de brume</translation>
    </message>
    <message>
        <source>Clearing the haze</source>
        <translation>Retrait de la brume</translation>
    </message>
    <message>
        <source>Opening the dialog</source>
        <translation>Ouverture des réglages</translation>
    </message>
    <message numerus="yes">
        <source>%n sample(s) came out as no number; they are 0.</source>
        <translation>
            <numerusform>%n valeur n’est pas un nombre ; elle vaut 0.</numerusform>
            <numerusform>%n valeurs ne sont pas des nombres ; elles valent 0.</numerusform>
        </translation>
    </message>
    <message>
        <source>The oldest steps can no longer be undone: they were beyond the memory for undo.</source>
        <translation>Les étapes les plus anciennes ne peuvent plus être annulées : elles dépassaient la mémoire d’annulation.</translation>
    </message>
    <message>
        <source>Changing the exposure</source>
        <translation>Changement d’exposition</translation>
    </message>
    <message>
        <source>Saving %1</source>
        <translation>Enregistrement de %1</translation>
    </message>
    <message>
        <source>Copying the picture</source>
        <translation>Copie de l’image</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1 : %2</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Takes white haze out of photographs.</source>
        <translation>Retire la brume blanche des photographies.</translation>
    </message>
    <message>
        <source>PHOTOGRAPH</source>
        <translation>PHOTOGRAPHIE</translation>
    </message>
    <message>
        <source>What to open; many, or a folder, make a batch.</source>
        <translation>À ouvrir ; plusieurs, ou un dossier, forment un lot.</translation>
    </message>
</context>
</TS>
