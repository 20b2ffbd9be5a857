{ Designs a correction through the interfaces of the imported type library, and listens to the project's events through
  the event class that comes with the import.

      correct_early RESPONSE FOLDER

  FOLDER gets the documents acme.lvs and desk.lvp. }
program correct_early;

{$mode objfpc}{$H+}{$apptype console}

uses
  SysUtils, Variants, LUMVEXLib_5_1_TLB;

const
  SampleRate = 48000;
  FullScale = 32768;
  Taps = 12;

type
  TValues = array of Single;

  TListener = class
    procedure CollectionChanged(Sender: TObject; pRoot, pVal: IUnknown; nType: LXEventType);
    procedure ItemChanged(Sender: TObject; pRoot, pVal: IUnknown; nType: LXEventType);
    procedure RootChanged(Sender: TObject; pVal: IUnknown);
  end;

procedure TListener.CollectionChanged(Sender: TObject; pRoot, pVal: IUnknown; nType: LXEventType);
begin
  WriteLn('event: CollectionChanged ', (pVal as _Collection).Name, ' ', nType);
end;

procedure TListener.ItemChanged(Sender: TObject; pRoot, pVal: IUnknown; nType: LXEventType);
begin
  WriteLn('event: ItemChanged ', (pVal as _Collectable).Name, ' ', nType);
end;

procedure TListener.RootChanged(Sender: TObject; pVal: IUnknown);
begin
  WriteLn('event: RootChanged');
end;

{ The samples of a text file, one a line, full scale being 1; a line that begins with # is a comment. }
function ReadResponse(const path: string): TValues;
var
  input: Text;
  line: string;
begin
  Result := nil;
  Assign(input, path);
  Reset(input);
  while not Eof(input) do
  begin
    ReadLn(input, line);
    if Copy(line, 1, 1) <> '#' then
    begin
      SetLength(Result, Length(Result) + 1);
      Result[High(Result)] := StrToInt(line) / FullScale;
    end;
  end;
  Close(input);
end;

function PeakOf(const response: TValues): Integer;
var
  n: Integer;
begin
  Result := 0;
  for n := 1 to High(response) do
    if Abs(response[n]) > Abs(response[Result]) then Result := n;
end;

{ The filter that, after the response from start on, leaves one impulse and then silence for its own length. }
function InverseOf(const response: TValues; start: Integer): TValues;
var
  n, k: Integer;
  rest: Double;
begin
  Result := nil;
  SetLength(Result, Taps);
  for n := 0 to Taps - 1 do
  begin
    rest := Ord(n = 0);
    for k := 1 to n do rest := rest - response[start + k] * Result[n - k];
    Result[n] := rest / response[start];
  end;
end;

function OneColumn(const values: array of Single): OleVariant;
var
  n: Integer;
begin
  Result := VarArrayCreate([0, High(values)], varSingle);
  for n := 0 to High(values) do Result[n] := values[n];
end;

function ValuesOf(const data: OleVariant): TValues;
var
  n: Integer;
begin
  Result := nil;
  SetLength(Result, VarArrayHighBound(data, 1) + 1);
  for n := 0 to High(Result) do Result[n] := data[n];
end;

function MakeLibrary(const catalogue: ISpecifications; const folder: string): IModelConfig;
var
  config: IConfig;
begin
  config := IUnknown(catalogue.Configs.FindName('Single amp')) as IConfig;
  Result := catalogue.Manufacturers.Add('Acme').Models.Add('Alpha').ModelConfigs.Add(config);
  catalogue.SaveFileAs(WideString(folder + '\acme.lvs'));
  WriteLn('library: ', Result.ManufacturerName, '/', Result.ModelName, ', ', Result.Name, ', outputs ',
    Result.Config.OutputCount);
end;

procedure MakeProject(const project: IProject; const modelConfig: IModelConfig; const response: TValues;
  const folder: string);
var
  experiment: IExperiment;
  speaker: ISpeakerEQ;
  speakerConfig: ISpkrEQConfig;
  measurement: IMeasurement;
  designs: ISpkrEQDesigns;
  design: ISpkrEQDesign;
  limits: array[0..LX_LIMITSIZE - 1] of Single = (0, 0, 0, 0, 0);
  start: Integer;
  correction: ICorrection;
begin
  experiment := project.Experiments.Add('At the desk');
  experiment.MicDistance := 1;
  experiment.ModelConfig := modelConfig;

  speaker := project.SpeakerEQs.Add('Left', modelConfig.Model);
  speakerConfig := speaker.SpkrEQConfigs.Add(modelConfig);
  measurement := speakerConfig.Measurements.Add('Sweep', experiment);
  measurement.SampleRate := SampleRate;
  measurement.Data := OneColumn(response);

  designs := (IUnknown(project.CrossoverConfigs.FindName('Single amp')) as ICrossoverConfig).SpkrEQDesigns;
  design := designs.Add('Desk');
  design.OptMethod := LX_OM_MINERROR;
  limits[LX_LIMITFREQ] := 20;
  limits[LX_LIMITMAX] := 6;
  limits[LX_LIMITMIN] := -12;
  design.LimitData := OneColumn(limits);
  { The items' Locks say how many links point at them; whoever makes a link counts it. }
  design.SpkrMeasureLinks.Add(measurement);
  measurement.Locks := measurement.Locks + 1;

  start := PeakOf(response);
  correction := speakerConfig.Corrections.Add('Inverse', measurement);
  correction.SampleRate := SampleRate;
  correction.ActDelay := 1000 * start / SampleRate;
  correction.OptMethod := design.OptMethod;
  correction.LimitData := design.LimitData;
  correction.Data := OneColumn(InverseOf(response, start));
  design.SpkrCorrectionGroups.Add('First try').SpkrCorrectionLinks.Add(correction);
  correction.Locks := correction.Locks + 1;

  try
    designs.Add('DESK');
  except
    on error: Exception do WriteLn('refused: ', error.Message);
  end;
  project.SaveFileAs(WideString(folder + '\desk.lvp'));
end;

procedure PrintValues(const title: string; const values: TValues; valueUnit: Double);
var
  value: Single;
begin
  Write(title);
  for value in values do Write(' ', Round(value / valueUnit));
  WriteLn;
end;

procedure ListCorrection(const correction: ICorrection);
var
  response, filter, corrected: TValues;
  start, n, k: Integer;
begin
  response := ValuesOf(correction.Measurement.Data);
  filter := ValuesOf(correction.Data);
  WriteLn('  correction: ', correction.Name, ' of ', correction.Measurement.Name, ', ',
    Round(1000 * correction.ActDelay), ' us, links ', correction.Locks);
  PrintValues('    filter in 1/8192:', filter, 1 / 8192);
  start := PeakOf(response);
  corrected := nil;
  SetLength(corrected, Length(filter));
  for n := 0 to High(filter) do
    for k := 0 to n do corrected[n] := corrected[n] + response[start + k] * filter[n - k];
  PrintValues('    corrected response:', corrected, 1);
end;

procedure ListSpeaker(const speaker: ISpeakerEQ);
var
  c, n: Integer;
  config: ISpkrEQConfig;
  measurement: IMeasurement;
begin
  for c := 1 to speaker.SpkrEQConfigs.Count do
  begin
    config := speaker.SpkrEQConfigs.Item[c];
    WriteLn('speaker: ', speaker.DisplayName, ', ', config.Config.Name);
    for n := 1 to config.Measurements.Count do
    begin
      measurement := config.Measurements.Item[n];
      WriteLn('  measurement: ', measurement.Name, ', ', measurement.Experiment.DisplayName, ', ',
        Length(ValuesOf(measurement.Data)), ' values at ', measurement.SampleRate, ' Hz, links ', measurement.Locks);
    end;
    for n := 1 to config.Corrections.Count do ListCorrection(config.Corrections.Item[n]);
  end;
end;

procedure ListDesign(const design: ISpkrEQDesign);
var
  n, k: Integer;
  group: ISpkrCorrectionGroup;
begin
  WriteLn('template: ', design.Name, ' for ', design.Parent.Parent.Config.Name, ', method ', design.OptMethod);
  PrintValues('  limits:', ValuesOf(design.LimitData), 1);
  for n := 1 to design.SpkrMeasureLinks.Count do
    WriteLn('  draws on: ', design.SpkrMeasureLinks.Item[n].Measurement.Name);
  for n := 1 to design.SpkrCorrectionGroups.Count do
  begin
    group := design.SpkrCorrectionGroups.Item[n];
    for k := 1 to group.SpkrCorrectionLinks.Count do
      WriteLn('  ', group.Name, ': ', group.SpkrCorrectionLinks.Item[k].Correction.Name);
  end;
end;

procedure List(const folder: string);
var
  project: IProject;
  n, k: Integer;
begin
  project := CoProject.Create;
  project.AccessMode := LX_SHARE_READ;
  project.OpenFile(WideString(folder + '\desk.lvp'));
  for n := 1 to project.SpeakerEQs.Count do ListSpeaker(project.SpeakerEQs.Item[n]);
  for n := 1 to project.CrossoverConfigs.Count do
    for k := 1 to project.CrossoverConfigs.Item[n].SpkrEQDesigns.Count do
      ListDesign(project.CrossoverConfigs.Item[n].SpkrEQDesigns.Item[k]);
  project.CloseFile;
end;

procedure DesignCorrection(const responsePath, folder: string);
var
  response: TValues;
  catalogue: ISpecifications;
  modelConfig: IModelConfig;
  source: TEvsProject;  { makes the project that it listens to }
  listener: TListener;
begin
  response := ReadResponse(responsePath);
  catalogue := CoSpecifications.Create;
  modelConfig := MakeLibrary(catalogue, folder);
  listener := TListener.Create;
  source := TEvsProject.Create(nil);
  try
    source.OnCollectionChanged := @listener.CollectionChanged;
    source.OnItemChanged := @listener.ItemChanged;
    source.OnRootChanged := @listener.RootChanged;
    source.ComServer.Specifications := catalogue;
    MakeProject(source.ComServer, modelConfig, response, folder);
    source.ComServer.CloseFile;
  finally
    source.Free;
    listener.Free;
  end;
  List(folder);
end;

begin
  if ParamCount <> 2 then
  begin
    WriteLn(StdErr, 'correct_early RESPONSE FOLDER');
    Halt(2);
  end;
  try
    DesignCorrection(ParamStr(1), ParamStr(2));
  except
    on error: Exception do
    begin
      WriteLn(StdErr, error.ClassName, ': ', error.Message);
      Halt(1);
    end;
  end;
end.
