<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
<context>
    <name>AlbumViewer</name>
    <message>
        <source>Current image of the library</source>
        <translation>Image affichée de la photothèque</translation>
    </message>
    <message>
        <source>Position in the library</source>
        <translation>Position dans la photothèque</translation>
    </message>
    <message>
        <source>Previous image (Ctrl+Left)</source>
        <translation>Image précédente (Ctrl+Gauche)</translation>
    </message>
    <message>
        <source>Next image (Ctrl+Right)</source>
        <translation>Image suivante (Ctrl+Droite)</translation>
    </message>
    <message>
        <source>Slide Show</source>
        <translation>Diaporama</translation>
    </message>
    <message>
        <source>Start or stop the slide show</source>
        <translation>Lancer ou arrêter le diaporama</translation>
    </message>
    <message>
        <source>Show Folder</source>
        <translation>Afficher le dossier</translation>
    </message>
    <message>
        <source>Show the library&apos;s folder in the file manager</source>
        <translation>Afficher le dossier de la photothèque dans le gestionnaire de fichiers</translation>
    </message>
</context>
<context>
    <name>AppDelegate</name>
    <message>
        <source>Main window</source>
        <translation>Fenêtre principale</translation>
    </message>
    <message>
        <source>Floating window, above the other windows</source>
        <translation>Fenêtre flottante, au-dessus des autres fenêtres</translation>
    </message>
    <message>
        <source>Normal window</source>
        <translation>Fenêtre normale</translation>
    </message>
    <message>
        <source>Icon in the panel, window under the panel</source>
        <translation>Icône dans le tableau de bord, fenêtre sous le tableau de bord</translation>
    </message>
    <message>
        <source>The main window changes at once; the list of libraries stays.</source>
        <translation>La fenêtre principale change aussitôt ; la liste des photothèques reste.</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Terminé</translation>
    </message>
    <message>
        <source>&lt;h2&gt;Slidebox&lt;/h2&gt;
&lt;p&gt;Slidebox keeps a list of your iPhoto libraries and makes iPhoto work on the one you pick.&lt;/p&gt;
&lt;h3&gt;The list&lt;/h3&gt;
&lt;p&gt;At the first start the libraries in your Pictures folder are listed. &lt;b&gt;Add…&lt;/b&gt; lists the libraries of the folders you choose; &lt;b&gt;Remove&lt;/b&gt; takes the selected library off the list and leaves its folder on the disk.&lt;/p&gt;
&lt;h3&gt;Viewing&lt;/h3&gt;
&lt;p&gt;The selected library shows its pictures one at a time. Step with the arrow buttons (Ctrl+Left, Ctrl+Right), drag the slider, or start the slide show. To choose the picture that stands for a library in the list, bring that picture up and hold Ctrl while you move to another row.&lt;/p&gt;
&lt;h3&gt;Switching iPhoto&lt;/h3&gt;
&lt;p&gt;Double-click a library, or press &lt;b&gt;Open in iPhoto&lt;/b&gt;: iPhoto is quit if it runs and started again on that library. &lt;b&gt;New Library…&lt;/b&gt; makes an empty folder in your Pictures folder and starts iPhoto on it, which makes the library there.&lt;/p&gt;
&lt;h3&gt;Window&lt;/h3&gt;
&lt;p&gt;In the preferences the main window can float above the others or be a normal window.&lt;/p&gt;</source>
        <translation>&lt;h2&gt;Slidebox&lt;/h2&gt;
&lt;p&gt;Slidebox garde la liste de vos photothèques iPhoto et fait travailler iPhoto sur celle que vous choisissez.&lt;/p&gt;
&lt;h3&gt;La liste&lt;/h3&gt;
&lt;p&gt;Au premier démarrage, les photothèques de votre dossier Images sont listées. &lt;b&gt;Ajouter…&lt;/b&gt; liste les photothèques des dossiers que vous choisissez ; &lt;b&gt;Retirer&lt;/b&gt; ôte de la liste la photothèque choisie et laisse son dossier sur le disque.&lt;/p&gt;
&lt;h3&gt;Affichage&lt;/h3&gt;
&lt;p&gt;La photothèque choisie montre ses images une à une. Avancez avec les flèches (Ctrl+Gauche, Ctrl+Droite), faites glisser le curseur ou lancez le diaporama. Pour choisir l&apos;image qui représente une photothèque dans la liste, affichez cette image et gardez Ctrl enfoncé en passant à une autre ligne.&lt;/p&gt;
&lt;h3&gt;Changer de photothèque dans iPhoto&lt;/h3&gt;
&lt;p&gt;Double-cliquez une photothèque ou appuyez sur &lt;b&gt;Ouvrir dans iPhoto&lt;/b&gt; : iPhoto est quitté s&apos;il tourne et relancé sur cette photothèque. &lt;b&gt;Nouvelle photothèque…&lt;/b&gt; crée un dossier vide dans votre dossier Images et y lance iPhoto, qui y crée la photothèque.&lt;/p&gt;
&lt;h3&gt;Fenêtre&lt;/h3&gt;
&lt;p&gt;Dans les préférences, la fenêtre principale peut flotter au-dessus des autres ou être une fenêtre normale.&lt;/p&gt;</translation>
    </message>
    <message>
        <source>A list of your iPhoto libraries, a slide view of each, and iPhoto switched to the one you pick.</source>
        <translation>Une liste de vos photothèques iPhoto, un diaporama de chacune, et iPhoto ouvert sur celle que vous choisissez.</translation>
    </message>
    <message>
        <source>&amp;Slidebox</source>
        <translation>&amp;Slidebox</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Aide</translation>
    </message>
    <message>
        <source>&amp;Preferences…</source>
        <translation>&amp;Préférences…</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Quitter</translation>
    </message>
    <message>
        <source>Slidebox &amp;Help</source>
        <translation>&amp;Aide de Slidebox</translation>
    </message>
    <message>
        <source>Slidebox &amp;Home Page</source>
        <translation>Page d&apos;&amp;accueil de Slidebox</translation>
    </message>
    <message>
        <source>&amp;About Slidebox</source>
        <translation>À &amp;propos de Slidebox</translation>
    </message>
    <message>
        <source>Slidebox Preferences</source>
        <translation>Préférences de Slidebox</translation>
    </message>
    <message>
        <source>Slidebox Help</source>
        <translation>Aide de Slidebox</translation>
    </message>
    <message>
        <source>About Slidebox</source>
        <translation>À propos de Slidebox</translation>
    </message>
    <message>
        <source>Version %1</source>
        <translation>Version %1</translation>
    </message>
</context>
<context>
    <name>UIController</name>
    <message>
        <source>Slidebox</source>
        <translation>Slidebox</translation>
    </message>
    <message>
        <source>Add…</source>
        <translation>Ajouter…</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Retirer</translation>
    </message>
    <message>
        <source>New Library…</source>
        <translation>Nouvelle photothèque…</translation>
    </message>
    <message>
        <source>Rescan</source>
        <translation>Relire</translation>
    </message>
    <message>
        <source>Hide</source>
        <translation>Masquer</translation>
    </message>
    <message>
        <source>Open in iPhoto</source>
        <translation>Ouvrir dans iPhoto</translation>
    </message>
    <message>
        <source>Name of the new Library:</source>
        <translation>Nom de la nouvelle photothèque :</translation>
    </message>
    <message>
        <source>iPhoto starts on the new empty folder and makes the library in it.</source>
        <translation>iPhoto démarre sur le nouveau dossier vide et y crée la photothèque.</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
    <message>
        <source>Create</source>
        <translation>Créer</translation>
    </message>
    <message>
        <source>New Library</source>
        <translation>Nouvelle photothèque</translation>
    </message>
</context>
<context>
    <name>localized</name>
    <message>
        <source>Remove Library&apos;s reference</source>
        <translation>Retirer la référence de la photothèque</translation>
    </message>
    <message>
        <source>Do you want to remove the Library&apos;s reference ?</source>
        <translation>Voulez-vous retirer la référence de la photothèque ?</translation>
    </message>
    <message>
        <source>Keep Library</source>
        <translation>Garder la photothèque</translation>
    </message>
    <message>
        <source>Remove Only Reference</source>
        <translation>Retirer seulement la référence</translation>
    </message>
    <message>
        <source>List of iPhoto Libraries</source>
        <translation>Liste des photothèques iPhoto</translation>
    </message>
    <message>
        <source>Launch iPhoto with the selected Library</source>
        <translation>Lancer iPhoto avec la photothèque choisie</translation>
    </message>
    <message>
        <source>Launch iPhoto with a new Empty Library</source>
        <translation>Lancer iPhoto avec une nouvelle photothèque vide</translation>
    </message>
    <message>
        <source>Remove the selected Library from the List</source>
        <translation>Retirer de la liste la photothèque choisie</translation>
    </message>
    <message>
        <source>Close the window or the application</source>
        <translation>Fermer la fenêtre ou l&apos;application</translation>
    </message>
    <message>
        <source>Add an existing Library into the List</source>
        <translation>Ajouter une photothèque existante à la liste</translation>
    </message>
    <message>
        <source>Name of the selected album (Folder name)</source>
        <translation>Nom de l&apos;album choisi (nom du dossier)</translation>
    </message>
    <message>
        <source>Look again at the pictures of the selected Library</source>
        <translation>Relire les images de la photothèque choisie</translation>
    </message>
    <message>
        <source>Library</source>
        <translation>photothèque</translation>
    </message>
    <message>
        <source>Libraries</source>
        <translation>photothèques</translation>
    </message>
    <message>
        <source>Type a name for the new Library.</source>
        <translation>Tapez un nom pour la nouvelle photothèque.</translation>
    </message>
    <message>
        <source>“.” and “..” can&apos;t name a folder.</source>
        <translation>« . » et « .. » ne peuvent pas nommer un dossier.</translation>
    </message>
    <message>
        <source>A name can&apos;t hold “/”: the Library is made in the Pictures folder.</source>
        <translation>Un nom ne peut pas contenir « / » : la photothèque est créée dans le dossier Images.</translation>
    </message>
    <message>
        <source>This name is too long for a folder.</source>
        <translation>Ce nom est trop long pour un dossier.</translation>
    </message>
    <message>
        <source>No iPhoto Library was found in “%1”.</source>
        <translation>Aucune photothèque iPhoto n’a été trouvée dans « %1 ».</translation>
    </message>
    <message>
        <source>The Library “%1” is no longer on the disk.</source>
        <translation>La photothèque « %1 » n’est plus sur le disque.</translation>
    </message>
    <message>
        <source>“%1” is not an iPhoto Library.</source>
        <translation>« %1 » n’est pas une photothèque iPhoto.</translation>
    </message>
    <message>
        <source>The path of “%1” can&apos;t be written into iPhoto&apos;s preferences.</source>
        <translation>Le chemin de « %1 » ne peut pas être écrit dans les préférences d’iPhoto.</translation>
    </message>
    <message>
        <source>iPhoto was not switched to “%1”: %2</source>
        <translation>iPhoto n’a pas été basculé sur « %1 » : %2</translation>
    </message>
    <message>
        <source>iPhoto was not found: it can&apos;t be started on the Library.</source>
        <translation>iPhoto est introuvable : il ne peut pas être lancé sur la photothèque.</translation>
    </message>
    <message>
        <source>iPhoto&apos;s preference file is missing: iPhoto opens its own Library.</source>
        <translation>Le fichier de préférences d’iPhoto manque : iPhoto ouvre sa propre photothèque.</translation>
    </message>
    <message>
        <source>iPhoto&apos;s preference file can&apos;t be read: iPhoto opens its own Library.</source>
        <translation>Le fichier de préférences d’iPhoto est illisible : iPhoto ouvre sa propre photothèque.</translation>
    </message>
</context>
<context>
    <name>StatusItem</name>
    <message>
        <source>Show or hide Slidebox</source>
        <translation>Afficher ou masquer Slidebox</translation>
    </message>
    <message>
        <source>Show Slidebox</source>
        <translation>Afficher Slidebox</translation>
    </message>
    <message>
        <source>Hide Slidebox</source>
        <translation>Masquer Slidebox</translation>
    </message>
    <message>
        <source>Preferences...</source>
        <translation>Préférences...</translation>
    </message>
    <message>
        <source>Quit Slidebox</source>
        <translation>Quitter Slidebox</translation>
    </message>
</context>
</TS>
